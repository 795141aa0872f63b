// Repeating timers on libuv.
#include "platform/Timer.h"

#include "platform/LoopHandle.h"
#include "platform/RunLoop.h"

namespace ztp {

struct Timer::State {
  uv_timer_t handle;
  Callback callback;
};

void Timer::Closer::operator()(State* state) const noexcept {
  closeAndDestroy(state, &state->handle);
}

Timer::Timer(std::chrono::milliseconds interval, Callback callback) {
  auto state = std::make_unique<State>();
  state->callback = std::move(callback);
  uv_loop_t* loop = RunLoop::main().handle();
  uv_timer_init(loop, &state->handle);
  state->handle.data = state.get();
  state_.reset(state.release());
  // The loop's idea of now may be old after a blocking wait.
  uv_update_time(loop);
  const auto period = static_cast<std::uint64_t>(interval.count());
  uv_timer_start(
      &state_->handle,
      [](uv_timer_t* timer) { RunLoop::main().call(static_cast<State*>(timer->data)->callback); },
      period, period);
}

}  // namespace ztp
