// The stream from the server, cut into messages and acted upon, and the three ways to answer.
#include <array>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/DictionaryValues.h"
#include "app/Ending.h"
#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"

namespace ztp {
namespace {

using Message = ZanburyToolProxyMessage;

// As much as the widened pipe from ssh may offer at once is read in a few turns.
constexpr std::size_t readSize = 262'144;

constexpr std::uint64_t controlLimit = 100'000;
constexpr std::uint64_t forwardLimit = 10'000'000;

// By type, from None to Forward; every type behind it has no limit. That acknowledgements and
// forwarding markers have none either is what servers rely on.
constexpr std::array<std::uint64_t, 9> lengthLimits = {
    controlLimit, controlLimit, controlLimit, controlLimit, controlLimit, 0, 0, 0, forwardLimit};

// What comes before the server has proved itself, and all that says enough by its type, must not
// take memory or disk: of acknowledgements and markers a body of any length is no more than bytes
// to skip, and archives are kept only where one is awaited.
constexpr bool usesBody(ZanburyToolProxyState state, ZanburyToolProxyMessageType type) {
  using T = ZanburyToolProxyMessageType;
  switch (type) {
    case T::Error:
    case T::ServerHello:
    case T::ServerHandshake:
      return true;
    case T::Forward:
      return state == ZanburyToolProxyState::ForwardingMessages;
    case T::OutputArchive:
      return state == ZanburyToolProxyState::WaitingForOutputArchive;
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

// One number for a state and a type, so that the dispatch reads as one table.
constexpr std::int64_t on(ZanburyToolProxyState state, ZanburyToolProxyMessageType type) {
  return static_cast<std::int64_t>(state) * 256 + static_cast<std::int64_t>(type);
}

}  // namespace

void ZanburyToolProxy::startReadingInputFileHandle() {
  inputReader_.emplace(inputFileHandle->fileDescriptor(), readSize,
                       [this](DataView data) { inputFileHandleDidRead(data); });
  inputReader_->readInBackgroundAndNotify();
}

void ZanburyToolProxy::stopReadingInputFileHandle() {
  if (inputFileHandle) inputReader_.reset();
}

void ZanburyToolProxy::inputFileHandleDidRead(DataView data) {
  if (state == State::Aborted) return;
  perform([&] {
    if (data.empty()) {
      serverStreamDidEnd();
    } else if (consumeChunk(data)) {
      inputReader_->readInBackgroundAndNotify();
    }
  });
}

void ZanburyToolProxy::serverStreamDidEnd() {
  if (state == State::WaitingForServerHello) {
    endServerTask();
    cleanUpServerTask();
    launchServerTask();
    return;
  }
  log("ERROR: The connection to the server was lost in state {} ({}:{})", stringForState(state),
      server_->host, server_->portText);
  endingCode_ = ending::connectionLost;
  stopProxy();
}

bool ZanburyToolProxy::consumeChunk(DataView chunk) {
  while (!chunk.empty()) {
    auto message = std::exchange(pendingInputMessage, nullptr);
    if (!message) {
      const auto* directory = temporaryDirectoryPath.empty() ? nullptr : &temporaryDirectoryPath;
      message = Message::initForReadingWithTemporaryDirectoryPath(directory, MessageType::None);
      message->keepsBodyOfType = [this](MessageType type) { return usesBody(state, type); };
    }
    const std::size_t consumed = message->consumeDataWithBytes(chunk);
    if (!isAcceptable(*message)) return false;
    if (message->type == MessageType::OutputArchive) {
      sendProgressSectionWithTitle("Downloading converted file", message->length);
      sendProgressStatusWithValue(message->bodyBytesConsumed);
    }
    if (!message->didFinishReadingBody()) {
      pendingInputMessage = std::move(message);
    } else if (!handleMessage(*message)) {
      return false;
    }
    chunk = chunk.subspan(consumed);
  }
  return true;
}

bool ZanburyToolProxy::isAcceptable(Message& message) {
  const std::uint64_t limit = maxLengthForType(message.type);
  if (message.didFinishReadingHeader() && limit != 0 && message.length > limit) {
    message.abortReading();
    abortWithReason("Message is too big", std::nullopt, nullptr);
    return false;
  }
  if (message.shouldAbort()) {
    abortWithReason("Invalid message received", std::nullopt, nullptr);
    return false;
  }
  return true;
}

std::uint64_t ZanburyToolProxy::maxLengthForType(MessageType type) {
  const auto index = static_cast<std::size_t>(type);
  return index < lengthLimits.size() ? lengthLimits[index] : 0;
}

bool ZanburyToolProxy::handleMessage(const Message& message) {
  using S = State;
  using T = MessageType;
  removeIdentity();  // ssh has logged in: somebody speaks at its other end
  if (message.type == T::Error) {
    abortWithErrorMessage(message);
    return false;
  }
  switch (on(state, message.type)) {
    case on(S::ForwardingMessages, T::Forward):
      if (message.bodyData) consumeForwardedData(*message.bodyData);
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
      abortWithUnexpectedMessage(message);
      return false;
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
  finishUploadProgress();
  sendProgressSectionWithTitle("This may take several minutes, please be patient.", 0);
  transitionToStateWaitingForServerDidStartForwarding();
  return true;
}

void ZanburyToolProxy::handleOutputArchive(const Message& message) {
  events_.downloaded(message.length);
  sendOutputArchiveAcknowledgement();
  consumeOutputArchive(message);
  giveLastMessageItsChance();
  stopProxy();
}

void ZanburyToolProxy::abortWithErrorMessage(const Message& message) {
  const auto dictionary = message.bodyDataAsDictionary();
  const auto reason = dictionary ? stringForKey(*dictionary, "reason") : std::nullopt;
  endingCode_ = ending::serverError;
  abortWithReason(reason, std::nullopt, nullptr);
}

void ZanburyToolProxy::abortWithUnexpectedMessage(const Message& message) {
  abortWithReason(fmt::format("ERROR: Did not handle message of type: {}",
                              Message::stringForMessageType(message.type)),
                  std::nullopt, nullptr);
}

void ZanburyToolProxy::sendMessageWithType(MessageType type) {
  sendMessageWithType(type, Data{});
}

void ZanburyToolProxy::sendMessageWithType(MessageType type, const Dictionary& dictionary) {
  if (!outputFileHandle) return;
  if (!Message::writeMessageWithType(type, dictionary, *outputFileHandle)) abortAfterFailedWrite();
}

void ZanburyToolProxy::sendMessageWithType(MessageType type, Data data) {
  if (!outputFileHandle) return;
  if (!Message::writeMessageWithType(type, std::move(data), *outputFileHandle)) {
    abortAfterFailedWrite();
  }
}

void ZanburyToolProxy::sendMessageWithType(MessageType type,
                                           const std::filesystem::path& filePath) {
  if (!outputFileHandle) return;
  if (!Message::writeMessageWithType(type, filePath, *outputFileHandle)) abortAfterFailedWrite();
}

void ZanburyToolProxy::abortAfterFailedWrite() {
  abortWithReason("Could not write message", std::nullopt, nullptr);
}

}  // namespace ztp
