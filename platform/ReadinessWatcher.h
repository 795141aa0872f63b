// Tells the run loop's client that a descriptor can be read or written without waiting.
#pragma once

#include <functional>
#include <memory>

namespace ztp {

/// Calls back in every turn of the loop in which the descriptor is ready, once when it is broken,
/// until it is destroyed; destroying it within its own callback is allowed. One watcher for a
/// descriptor at a time. Leaves the descriptor's flags as they are. A plain file is always ready.
class ReadinessWatcher {
 public:
  /// What the descriptor must be ready for.
  enum class Interest { readable, writable };
  using Callback = std::function<void()>;

  /// Raises PlatformException when the descriptor cannot be watched.
  ReadinessWatcher(int fileDescriptor, Interest interest, Callback callback);
  ReadinessWatcher(ReadinessWatcher&&) noexcept = default;
  ReadinessWatcher& operator=(ReadinessWatcher&&) noexcept = default;
  ~ReadinessWatcher() = default;

 private:
  struct State;
  /// Unregisters from the loop, which releases the state in a later turn.
  struct Closer {
    void operator()(State* state) const noexcept;
  };
  std::unique_ptr<State, Closer> state_;
};

}  // namespace ztp
