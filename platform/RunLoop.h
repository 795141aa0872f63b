// The run loop of the one thread. Timers, readiness watchers and delayed performs register with it
// when they are made and unregister when they go.
//
// The loop is a C library's: no exception may pass through it. What a callback raises is kept, ends
// the loop, and is raised again by `run`, as if nothing had been in between.
#pragma once

#include <exception>
#include <functional>

struct uv_loop_s;

namespace ztp {

/// The main thread's run loop.
class RunLoop {
 public:
  /// The one loop; made at the first call.
  static RunLoop& main();

  /// Turns until nothing is registered any more or `stop` was called. Raises what a callback has
  /// raised; no other callback is called after that one.
  void run();
  /// One turn; waits for an event if none is due. Raises as `run` does.
  void runOnce();
  /// Makes `run` return after the current turn.
  void stop();

  /// For the classes of this folder that wrap a handle of the loop: the handle's loop, and the way
  /// in which every callback is called.
  [[nodiscard]] uv_loop_s* handle() const noexcept { return loop_; }
  void call(const std::function<void()>& callback) noexcept;

  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

 private:
  RunLoop();
  ~RunLoop() = default;
  void rethrow();

  uv_loop_s* loop_;
  std::exception_ptr raised_;
};

}  // namespace ztp
