// What each of the server's messages means in each state.
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/DictionaryValues.h"
#include "app/Ending.h"
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"

namespace ztp {
namespace {

// One number for a state and a type, so that the dispatch reads as one table.
constexpr std::int64_t on(ZanburyToolProxyState state, ZanburyToolProxyMessageType type) {
  return static_cast<std::int64_t>(state) * 256 + static_cast<std::int64_t>(type);
}

}  // namespace

// What comes before the server has proved itself, and all that says enough by its type, must not
// take memory or disk: of acknowledgements and markers a body of any length is no more than bytes
// to skip, and archives are kept only where one is awaited.
bool ZanburyToolProxy::keepsBodyOfType(MessageType type) const {
  using T = MessageType;
  switch (type) {
    case T::Error:
    case T::ServerHello:
    case T::ServerHandshake:
      return true;
    case T::Forward:
      return state == State::ForwardingMessages;
    case T::OutputArchive:
      return state == State::WaitingForOutputArchive;
    case T::None:
    case T::ClientHandshake:
    case T::InputArchive:
    case T::InputArchiveAcknowledgement:
    case T::ServerWillStartForwarding:
    case T::ServerDidStopForwarding:
    case T::OutputArchiveAcknowledgement:
      return false;
  }
  return false;
}

void ZanburyToolProxy::messageDidConsumeBytes(const MessageReader& message) {
  if (message.type != MessageType::OutputArchive) return;
  host_.sendProgressSectionWithTitle("Downloading converted file", message.length);
  host_.sendProgressStatusWithValue(message.bodyBytesConsumed);
}

bool ZanburyToolProxy::handleMessage(Message& message) {
  using S = State;
  using T = MessageType;
  if (message.type == T::Error) raiseErrorMessage(message);
  switch (on(state, message.type)) {
    case on(S::ForwardingMessages, T::Forward):
      if (auto body = message.takeBodyData()) consumeForwardedData(*std::move(body));
      return true;
    case on(S::ForwardingMessages, T::ServerDidStopForwarding):
      transitionToStateWaitingForOutputArchive();
      return true;
    case on(S::WaitingForServerHello, T::ServerHello):
      return handleServerHello(message);
    // A server may skip the hello: the handshake is then taken as if it had come.
    case on(S::WaitingForServerHello, T::ServerHandshake):
    case on(S::WaitingForServerHandshake, T::ServerHandshake):
      return handleServerHandshake(message);
    case on(S::SendingInputArchive, T::InputArchiveAcknowledgement):
      return handleInputArchiveAcknowledgement();
    case on(S::WaitingForServerDidStartForwarding, T::ServerWillStartForwarding):
      transitionToStateForwardingMessages();
      return true;
    case on(S::WaitingForOutputArchive, T::OutputArchive):
      handleOutputArchive(message);
    default:
      throw SessionFailure{fmt::format("ERROR: Did not handle message of type: {}",
                                       Message::stringForMessageType(message.type))};
  }
}

bool ZanburyToolProxy::handleServerHello(const Message& message) {
  consumeServerHello(message.bodyDataAsDictionary());
  sendClientHandshake();
  transitionToStateWaitingForServerHandshake();
  return true;
}

bool ZanburyToolProxy::handleServerHandshake(const Message& message) {
  if (!consumeServerHandshake(message.bodyDataAsDictionary())) return false;
  createInputArchive();
  transitionToStateSendingInputArchive();
  return true;
}

bool ZanburyToolProxy::handleInputArchiveAcknowledgement() {
  connection_->finishUploadProgress();
  host_.sendProgressSectionWithTitle("This may take several minutes, please be patient.", 0);
  transitionToStateWaitingForServerDidStartForwarding();
  return true;
}

void ZanburyToolProxy::handleOutputArchive(const Message& message) {
  events_.downloaded(message.length);
  sendOutputArchiveAcknowledgement();
  consumeOutputArchive(message);
  connection_->drainLastMessage();
  stopProxy();
}

void ZanburyToolProxy::raiseErrorMessage(const Message& message) {
  const auto dictionary = message.bodyDataAsDictionary();
  const auto reason = dictionary ? stringForKey(*dictionary, "reason") : std::nullopt;
  events_.endsWith(ending::serverError);
  throw SessionFailure{reason ? std::optional<std::string>(*reason) : std::nullopt};
}

}  // namespace ztp
