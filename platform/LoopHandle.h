// How this folder owns a libuv handle: libuv releases one only in a later turn of the loop, so the
// object around it must live until then.
#pragma once

#include <memory>

#include <uv.h>

namespace ztp {

/// A libuv handle as its generic type.
template <typename Handle>
uv_handle_t* asHandle(Handle* handle) noexcept {
  return reinterpret_cast<uv_handle_t*>(handle);  // libuv's own convention for its "subclasses"
}

/// Closes `handle` and destroys `state`, the object that holds it, when libuv is done with it.
template <typename State, typename Handle>
void closeAndDestroy(State* state, Handle* handle) noexcept {
  handle->data = state;
  uv_close(asHandle(handle), [](uv_handle_t* closed) {
    const std::unique_ptr<State> destroyed(static_cast<State*>(closed->data));
  });
}

}  // namespace ztp
