// The arrows between the states, and their names.
#include "app/ZanburyToolProxyState.h"

namespace ztp {

bool canFollow(ZanburyToolProxyState before, ZanburyToolProxyState next) {
  using S = ZanburyToolProxyState;
  switch (next) {
    case S::None:
      return false;
    case S::Aborted:
      return true;
    case S::Retry:
      return before == S::WaitingForServerHello;
    case S::WaitingForServerHello:  // from itself: a redirect by a server that skipped its hello
      return before == S::None || before == S::Retry || before == S::WaitingForServerHello ||
             before == S::WaitingForServerHandshake;
    case S::WaitingForServerHandshake:
      return before == S::WaitingForServerHello;
    case S::SendingInputArchive:
      return before == S::WaitingForServerHandshake || before == S::WaitingForServerHello;
    case S::WaitingForServerDidStartForwarding:
      return before == S::SendingInputArchive;
    case S::ForwardingMessages:
      return before == S::WaitingForServerDidStartForwarding;
    case S::WaitingForOutputArchive:
      return before == S::ForwardingMessages;
  }
  return false;
}

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
