// One call from the run loop, later.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace ztp {

/// Calls back once, unless it is destroyed before; destroying or replacing it within its own
/// callback is allowed.
class DelayedPerform {
 public:
  using Callback = std::function<void()>;

  /// A delay of zero means the next turn of the loop: whatever else is ready comes in between.
  DelayedPerform(std::chrono::milliseconds delay, Callback callback);
  DelayedPerform(DelayedPerform&&) noexcept = default;
  DelayedPerform& operator=(DelayedPerform&&) noexcept = default;
  ~DelayedPerform() = default;

 private:
  struct State;
  /// Unregisters from the loop, which releases the state in a later turn.
  struct Closer {
    void operator()(State* state) const noexcept;
  };
  std::unique_ptr<State, Closer> state_;
};

}  // namespace ztp
