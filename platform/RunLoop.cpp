// The run loop is libuv's default loop.
#include "platform/RunLoop.h"

#include <uv.h>

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
}

void RunLoop::runOnce() {
  uv_run(loop_, UV_RUN_ONCE);
}

void RunLoop::stop() {
  uv_stop(loop_);
}

}  // namespace ztp
