// Readiness watchers on libuv's polls; on an idle handle for plain files, which cannot be polled.
#include "platform/ReadinessWatcher.h"

#include <variant>

#include <fcntl.h>

#include "platform/Error.h"
#include "platform/LoopHandle.h"
#include "platform/RunLoop.h"

namespace ztp {

struct ReadinessWatcher::State {
  std::variant<uv_idle_t, uv_poll_t> handle;
  Callback callback;

  void startIdle() {
    auto* idle = &handle.emplace<uv_idle_t>();
    uv_idle_init(RunLoop::main().handle(), idle);
    idle->data = this;
    uv_idle_start(idle, [](uv_idle_t* fired) {
      RunLoop::main().call(static_cast<State*>(fired->data)->callback);
    });
  }

  // libuv's code for what went wrong; 0 when the descriptor is watched.
  int startPoll(int fileDescriptor, Interest interest) {
    auto* poll = &handle.emplace<uv_poll_t>();
    const int flags = ::fcntl(fileDescriptor, F_GETFL);
    const int code = uv_poll_init(RunLoop::main().handle(), poll, fileDescriptor);
    if (code != 0) return code;
    // libuv makes what it polls non-blocking; whether it is one is the owner's affair.
    if (flags != -1) ::fcntl(fileDescriptor, F_SETFL, flags);
    poll->data = this;
    return uv_poll_start(poll, interest == Interest::readable ? UV_READABLE : UV_WRITABLE,
                         [](uv_poll_t* ready, int /*status*/, int /*events*/) {
                           RunLoop::main().call(static_cast<State*>(ready->data)->callback);
                         });
  }
};

void ReadinessWatcher::Closer::operator()(State* state) const noexcept {
  std::visit([state](auto& handle) { closeAndDestroy(state, &handle); }, state->handle);
}

ReadinessWatcher::ReadinessWatcher(int fileDescriptor, Interest interest, Callback callback) {
  auto state = std::make_unique<State>();
  state->callback = std::move(callback);
  const int code = state->startPoll(fileDescriptor, interest);
  if (code == UV_EPERM) {
    state->startIdle();
  } else if (code != 0) {
    throw PlatformException(Error{std::string("poll: ") + uv_strerror(code)});
  }
  state_.reset(state.release());
}

}  // namespace ztp
