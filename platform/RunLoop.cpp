// The run loop is libuv's default loop.
#include "platform/RunLoop.h"

#include <uv.h>

#include <utility>

#include "platform/Error.h"

namespace ztp {

RunLoop& RunLoop::main() {
  static RunLoop loop;
  return loop;
}

RunLoop::RunLoop() : loop_(uv_default_loop()) {
  if (loop_ == nullptr) throw PlatformException("uv_default_loop: no run loop");
}

void RunLoop::run() {
  uv_run(loop_, UV_RUN_DEFAULT);
  rethrow();
}

void RunLoop::runOnce() {
  uv_run(loop_, UV_RUN_ONCE);
  rethrow();
}

void RunLoop::call(const std::function<void()>& callback) noexcept {
  // Other callbacks may be due in the same turn. They belong to what is being left.
  if (raised_) return;
  try {
    callback();
  } catch (...) {
    raised_ = std::current_exception();
    stop();
  }
}

void RunLoop::rethrow() {
  if (raised_) std::rethrow_exception(std::exchange(raised_, nullptr));
}

void RunLoop::stop() {
  uv_stop(loop_);
}

}  // namespace ztp
