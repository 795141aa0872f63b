// The names of the states.
#include "app/ZanburyToolProxyState.h"

namespace ztp {

std::string_view stringForState(ZanburyToolProxyState state) {
  switch (state) {
    case ZanburyToolProxyState::None:
      return "None";
    case ZanburyToolProxyState::Aborted:
      return "Aborted";
    case ZanburyToolProxyState::ForwardingMessages:
      return "ForwardingMessages";
    case ZanburyToolProxyState::Retry:
      return "Retry";
    case ZanburyToolProxyState::WaitingForServerHello:
      return "WaitingForServerHello";
    case ZanburyToolProxyState::WaitingForServerHandshake:
      return "WaitingForServerHandshake";
    case ZanburyToolProxyState::SendingInputArchive:
      return "SendingInputArchive";
    case ZanburyToolProxyState::WaitingForServerDidStartForwarding:
      return "WaitingForServerDidStartForwarding";
    case ZanburyToolProxyState::WaitingForOutputArchive:
      return "WaitingForOutputArchive";
  }
  return "None";
}

}  // namespace ztp
