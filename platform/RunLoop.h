// The run loop of the one thread. Timers, readiness watchers and delayed performs register with it
// when they are made and unregister when they go.
#pragma once

struct uv_loop_s;

namespace ztp {

/// The main thread's run loop.
class RunLoop {
 public:
  /// The one loop; made at the first call.
  static RunLoop& main();

  /// Turns until nothing is registered any more or `stop` was called.
  void run();
  /// One turn; waits for an event if none is due.
  void runOnce();
  /// Makes `run` return after the current turn.
  void stop();

  /// For the classes of this folder that wrap a handle of the loop.
  [[nodiscard]] uv_loop_s* handle() const noexcept { return loop_; }

  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

 private:
  RunLoop();
  ~RunLoop() = default;

  uv_loop_s* loop_;
};

}  // namespace ztp
