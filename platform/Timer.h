// A timer of the run loop, on the monotonic clock: a change of the wall clock does not move it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace ztp {

/// Calls back again and again until it is destroyed; destroying it within its own callback is
/// allowed. Late ticks are not made up for.
class Timer {
 public:
  using Callback = std::function<void()>;

  /// First call after `interval`, then every `interval`.
  Timer(std::chrono::milliseconds interval, Callback callback);
  Timer(Timer&&) noexcept = default;
  Timer& operator=(Timer&&) noexcept = default;
  ~Timer() = default;

 private:
  struct State;
  /// Unregisters from the loop, which releases the state in a later turn.
  struct Closer {
    void operator()(State* state) const noexcept;
  };
  std::unique_ptr<State, Closer> state_;
};

}  // namespace ztp
