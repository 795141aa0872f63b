// The states of a session.
#pragma once

#include <cstdint>
#include <string_view>

namespace ztp {

/// Where a conversation stands. Each state but None is entered only through the session's method
/// transitionToState followed by its name.
enum class ZanburyToolProxyState : std::int64_t {
  None = 0,
  Aborted = 1,
  ForwardingMessages = 2,
  Retry = 3,
  WaitingForServerHello = 4,
  WaitingForServerHandshake = 5,
  SendingInputArchive = 6,
  WaitingForServerDidStartForwarding = 7,
  WaitingForOutputArchive = 8,
};

/// Whether a session may go from one state to the other: the arrows of docs/ARCHITECTURE.md.
bool canFollow(ZanburyToolProxyState before, ZanburyToolProxyState next);

/// The state's name, as in the list.
std::string_view stringForState(ZanburyToolProxyState state);

}  // namespace ztp
