// Delayed performs on libuv. The next turn is an idle handle and not a timer of zero: libuv runs
// such timers again within the same turn, and nothing else would get its chance.
#include "platform/DelayedPerform.h"

#include <variant>

#include "platform/LoopHandle.h"
#include "platform/RunLoop.h"

namespace ztp {

struct DelayedPerform::State {
  std::variant<uv_idle_t, uv_timer_t> handle;
  Callback callback;

  void startIdle() {
    auto* idle = &handle.emplace<uv_idle_t>();
    uv_idle_init(RunLoop::main().handle(), idle);
    idle->data = this;
    uv_idle_start(idle, [](uv_idle_t* fired) {
      uv_idle_stop(fired);
      RunLoop::main().call(static_cast<State*>(fired->data)->callback);
    });
  }

  void startTimer(std::chrono::milliseconds delay) {
    auto* timer = &handle.emplace<uv_timer_t>();
    uv_loop_t* loop = RunLoop::main().handle();
    uv_timer_init(loop, timer);
    timer->data = this;
    uv_update_time(loop);
    uv_timer_start(
        timer,
        [](uv_timer_t* fired) { RunLoop::main().call(static_cast<State*>(fired->data)->callback); },
        static_cast<std::uint64_t>(delay.count()), 0);
  }
};

void DelayedPerform::Closer::operator()(State* state) const noexcept {
  std::visit([state](auto& handle) { closeAndDestroy(state, &handle); }, state->handle);
}

DelayedPerform::DelayedPerform(std::chrono::milliseconds delay, Callback callback) {
  auto state = std::make_unique<State>();
  state->callback = std::move(callback);
  if (delay.count() == 0) {
    state->startIdle();
  } else {
    state->startTimer(delay);
  }
  state_.reset(state.release());
}

}  // namespace ztp
