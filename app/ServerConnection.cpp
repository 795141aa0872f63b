// Starting ssh, cutting its output into messages, and the ways to write to it.
#include "app/ServerConnection.h"

#include <algorithm>
#include <array>
#include <utility>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "app/SessionFailure.h"
#include "app/WorkingDirectory.h"
#include "platform/BlockingWait.h"
#include "platform/FileManager.h"
#include "platform/Pipe.h"
#include "platform/System.h"

namespace ztp {
namespace {

using Clock = BlockingWait::Clock;
using std::chrono::milliseconds;

// As much as the widened pipe from ssh may offer at once is read in a few turns.
constexpr std::size_t readSize = 262'144;

constexpr std::uint64_t controlLimit = 100'000;
constexpr std::uint64_t forwardLimit = 10'000'000;

// By type, from None to Forward; every type behind it has no limit. That acknowledgements and
// forwarding markers have none either is what servers rely on.
constexpr std::array<std::uint64_t, 9> lengthLimits = {
    controlLimit, controlLimit, controlLimit, controlLimit, controlLimit, 0, 0, 0, forwardLimit};

constexpr milliseconds timeBehindTheLastMessage{20};

void check(MessageReader& message) {
  const std::uint64_t limit = ServerConnection::maxLengthForType(message.type);
  if (message.didFinishReadingHeader() && limit != 0 && message.length > limit) {
    message.abortReading();
    throw SessionFailure{"Message is too big"};
  }
  if (message.shouldAbort()) throw SessionFailure{"Invalid message received"};
}

void raiseUnlessWritten(bool wasWritten) {
  if (!wasWritten) throw SessionFailure{"Could not write message"};
}

}  // namespace

ServerConnection::ServerConnection(const std::filesystem::path& temporaryDirectoryPath,
                                   ServerDestination destination,
                                   ServerConnectionDelegate& delegate)
    : temporaryDirectoryPath_(temporaryDirectoryPath),
      destination_(std::move(destination)),
      delegate_(delegate) {}

ServerConnection::~ServerConnection() {
  // Neither may watch a descriptor that is closed.
  reader_.reset();
  pendingOutputMessage.reset();
  inputFileHandle.reset();
  outputFileHandle.reset();
  if (serverTask) serverTask->terminate();
}

void ServerConnection::writeIdentity(const std::optional<SecretText>& serverIdentity) {
  const std::string reason = "Could not write identity to a file";
  if (temporaryDirectoryPath_.empty()) {
    throw SessionFailure{reason, Error{"There is no working directory"}};
  }
  identityPath = temporaryDirectoryPath_ / "identity";
  WorkingDirectory::removeItemAtPath(identityPath);
  if (!serverIdentity) throw SessionFailure{reason, Error{"EXPORT_SERVER_IDENTITY is not set"}};
  if (const auto error = FileManager::writeNewPrivateFile(identityPath, bytesOf(*serverIdentity))) {
    throw SessionFailure{reason, error};
  }
}

void ServerConnection::writeConfiguration() const {
  static_cast<void>(FileManager::createEmptyFile(temporaryDirectoryPath_ / "config"));
}

void ServerConnection::removeIdentity() {
  WorkingDirectory::removeItemAtPath(std::exchange(identityPath, {}));
}

void ServerConnection::launch(const std::optional<std::string>& serverCommandPath,
                              const std::filesystem::path& launchPath) {
  if (!serverCommandPath) throw PlatformException("EXPORT_SERVER_COMMAND_PATH is not set");
  Pipe standardInput = Pipe::create();
  Pipe standardOutput = Pipe::create();
  serverTask = ChildProcess::launch({launchPath, sshArguments(*serverCommandPath), {}},
                                    {standardInput.readingEnd.fileDescriptor(),
                                     standardOutput.writingEnd.fileDescriptor(), STDERR_FILENO});
  inputFileHandle = std::move(standardOutput.readingEnd);
  outputFileHandle = std::move(standardInput.writingEnd);
  startReadingInputFileHandle();
}

std::vector<std::string> ServerConnection::sshArguments(
    const std::string& serverCommandPath) const {
  return {"-F",
          temporaryDirectoryPath_ / "config",
          "-o",
          "ServerAliveInterval=5",
          "-o",
          "ServerAliveCountMax=3",
          "-o",
          "TCPKeepAlive=yes",
          "-o",
          "Compression=yes",
          "-o",
          "StrictHostKeyChecking=no",
          "-i",
          identityPath,
          "-l",
          destination_.user,
          "-p",
          destination_.portText,
          destination_.host,
          serverCommandPath,
          "server"};
}

void ServerConnection::startReadingInputFileHandle() {
  reader_.emplace(inputFileHandle->fileDescriptor(), readSize,
                  [this](DataView data) { inputFileHandleDidRead(data); });
  reader_->readInBackgroundAndNotify();
}

void ServerConnection::inputFileHandleDidRead(DataView data) {
  if (data.empty()) {
    delegate_.serverStreamDidEnd();
  } else if (consumeChunk(data)) {
    reader_->readInBackgroundAndNotify();
  }
}

bool ServerConnection::consumeChunk(DataView chunk) {
  while (!chunk.empty()) {
    auto message = pendingInputMessage ? std::move(pendingInputMessage) : newMessage();
    chunk = chunk.subspan(message->consumeDataWithBytes(chunk));
    check(*message);
    delegate_.messageDidConsumeBytes(*message);
    if (!message->didFinishReadingBody()) {
      pendingInputMessage = std::move(message);
      continue;
    }
    removeIdentity();  // ssh has logged in: somebody speaks at its other end
    if (!delegate_.handleMessage(*message)) return false;
  }
  return true;
}

std::unique_ptr<MessageReader> ServerConnection::newMessage() const {
  const auto* directory = temporaryDirectoryPath_.empty() ? nullptr : &temporaryDirectoryPath_;
  auto message = Message::initForReadingWithTemporaryDirectoryPath(directory, MessageType::None);
  message->keepsBodyOfType = [this](MessageType type) { return delegate_.keepsBodyOfType(type); };
  return message;
}

std::uint64_t ServerConnection::maxLengthForType(MessageType type) {
  const auto index = static_cast<std::size_t>(type);
  return index < lengthLimits.size() ? lengthLimits[index] : 0;
}

void ServerConnection::sendMessageWithType(MessageType type) {
  sendMessageWithType(type, Data{});
}

void ServerConnection::sendMessageWithType(MessageType type, const Dictionary& dictionary) {
  if (!outputFileHandle) return;
  raiseUnlessWritten(Message::writeMessageWithType(type, dictionary, *outputFileHandle));
}

void ServerConnection::sendMessageWithType(MessageType type, Data data) {
  if (!outputFileHandle) return;
  raiseUnlessWritten(Message::writeMessageWithType(type, std::move(data), *outputFileHandle));
}

void ServerConnection::sendMessageWithType(MessageType type,
                                           const std::filesystem::path& filePath) {
  if (!outputFileHandle) return;
  raiseUnlessWritten(Message::writeMessageWithType(type, filePath, *outputFileHandle));
}

void ServerConnection::startWritingMessageWithType(
    MessageType type, const std::filesystem::path& filePath,
    ZanburyToolProxyMessageDelegate& progressDelegate) {
  pendingOutputMessage =
      Message::startWritingMessageWithType(type, filePath, *outputFileHandle, progressDelegate);
  // Without a message nothing would ever come back from the server.
  if (!pendingOutputMessage) throw SessionFailure{"Could not write message asynchronously"};
}

void ServerConnection::finishUploadProgress() {
  if (pendingOutputMessage &&
      pendingOutputMessage->bodyBytesWritten == pendingOutputMessage->length) {
    pendingOutputMessage->continueWritingAsynchronously();
  }
}

void ServerConnection::forgetWrittenMessage() {
  pendingOutputMessage.reset();
}

void ServerConnection::endStreamToServer() {
  outputFileHandle.reset();
}

void ServerConnection::endInterruptedStream() {
  if (outputFileHandle && outputFileHandle->wasInterrupted()) endStreamToServer();
}

void ServerConnection::drainLastMessage() {
  if (!outputFileHandle) return;
  const auto deadline = BlockingWait::deadline().value_or(Clock::now() + lastMessageTime);
  BlockingWait::setDeadline(deadline);
  const int stream = outputFileHandle->fileDescriptor();
  while (Clock::now() < deadline && system::bytesInPipe(stream) > 0) {
    BlockingWait::sleepFor(milliseconds{1});
  }
  BlockingWait::sleepFor(timeBehindTheLastMessage);  // less when the deadline comes first
}

}  // namespace ztp
