// One connection to a server: ssh as a child, the pipes to and from it, and the messages that stand
// in them half-way.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/BackgroundReader.h"
#include "platform/ChildProcess.h"
#include "platform/Data.h"
#include "platform/FileHandle.h"
#include "protocol/AsynchronousWriter.h"
#include "protocol/Dictionary.h"
#include "protocol/MessageReader.h"
#include "protocol/ZanburyToolProxyMessage.h"
#include "protocol/ZanburyToolProxyMessageDelegate.h"
#include "util/ServerDestination.h"

namespace ztp {

/// Hears what comes from the server.
class ServerConnectionDelegate {
 public:
  virtual ~ServerConnectionDelegate() = default;
  /// Whether a body of the type is of use now. The bytes of one that is not are dropped as they
  /// arrive.
  [[nodiscard]] virtual bool keepsBodyOfType(ZanburyToolProxyMessageType type) const = 0;
  /// Some bytes have come; the type may not be known yet.
  virtual void messageDidConsumeBytes(const MessageReader& message) = 0;
  /// A message is complete and may be taken apart. True when reading may go on; after false the
  /// connection need not exist any more.
  [[nodiscard]] virtual bool handleMessage(ZanburyToolProxyMessage& message) = 0;
  /// The stream has ended. The connection may be destroyed within the call.
  virtual void serverStreamDidEnd() = 0;
};

/// Make one, `writeIdentity`, `writeConfiguration`, `launch`. When it goes its pipes are closed and
/// ssh is told to end: the output of ssh may have ended while ssh has not, for a server can close
/// one stream and keep the other.
class ServerConnection {
 public:
  using Message = ZanburyToolProxyMessage;
  using MessageType = ZanburyToolProxyMessageType;

  /// Its files are in the directory. The path and the delegate outlive it.
  ServerConnection(const std::filesystem::path& temporaryDirectoryPath,
                   ServerDestination destination, ServerConnectionDelegate& delegate);
  ServerConnection(const ServerConnection&) = delete;
  ServerConnection& operator=(const ServerConnection&) = delete;
  ~ServerConnection();

  /// Where ssh is told to go.
  [[nodiscard]] const ServerDestination& destination() const noexcept { return destination_; }

  /// Writes the private key where ssh reads it, in a new file of mode 0600. Raises SessionFailure.
  void writeIdentity(const std::optional<SecretText>& serverIdentity);
  /// Writes the configuration for ssh: none, so that no user's or system's takes part.
  void writeConfiguration() const;
  /// The key is on disk only from the start of ssh to its server's first message, at which this is
  /// called; before the connection is given up it must be called.
  void removeIdentity();
  /// Starts ssh and begins to read what it brings. Raises PlatformException when there is no
  /// command or no ssh to be started.
  void launch(const std::optional<std::string>& serverCommandPath,
              const std::filesystem::path& launchPath = "/usr/bin/ssh");

  /// The largest body of a type in bytes; 0: no limit.
  [[nodiscard]] static std::uint64_t maxLengthForType(MessageType type);

  /// Each writes one message to the server and blocks until it is written; nothing happens once the
  /// stream to the server is closed. Raises SessionFailure.
  void sendMessageWithType(MessageType type);
  void sendMessageWithType(MessageType type, const Dictionary& dictionary);
  void sendMessageWithType(MessageType type, Data data);
  void sendMessageWithType(MessageType type, const std::filesystem::path& filePath);
  /// Starts to write a file through the run loop. Raises SessionFailure when that cannot begin.
  void startWritingMessageWithType(MessageType type, const std::filesystem::path& filePath,
                                   ZanburyToolProxyMessageDelegate& progressDelegate);
  /// The server's acknowledgement can overtake the last step of the upload, the one that finds the
  /// end of the file. Does that step now: its progress must not come amid what the tool sends.
  void finishUploadProgress();
  /// Forgets the message that was written through the run loop.
  void forgetWrittenMessage();

  /// After an upload that broke off the server would wait for the rest, perhaps for ever. The end
  /// of its input tells it; its last words are still read.
  void endStreamToServer();
  /// Does the same when an interrupt has ended a message in its midst: nothing may follow its half.
  void endInterruptedStream();
  /// Waits until ssh has taken the last message out of the pipe and a little longer,
  /// `lastMessageTime` at most: what comes next is the end of ssh. Nothing interrupts from then on.
  void drainLastMessage();
  static constexpr std::chrono::milliseconds lastMessageTime{100};

 private:
  [[nodiscard]] std::vector<std::string> sshArguments(const std::string& serverCommandPath) const;
  void startReadingInputFileHandle();
  void inputFileHandleDidRead(DataView data);
  [[nodiscard]] bool consumeChunk(DataView chunk);
  [[nodiscard]] std::unique_ptr<MessageReader> newMessage() const;

  const std::filesystem::path& temporaryDirectoryPath_;
  ServerDestination destination_;
  ServerConnectionDelegate& delegate_;
  std::filesystem::path identityPath;
  std::optional<ChildProcess> serverTask;
  /// The stream from ssh and the stream to it.
  std::optional<FileHandle> inputFileHandle;
  std::optional<FileHandle> outputFileHandle;
  /// A message whose body was incomplete at the end of the last chunk.
  std::unique_ptr<MessageReader> pendingInputMessage;
  /// The message that is being written through the run loop.
  std::unique_ptr<AsynchronousWriter> pendingOutputMessage;
  std::optional<BackgroundReader> reader_;
};

}  // namespace ztp
