// The session: one conversation between the host, which started this process, and a server of
// Zanbury Cloud. One object owns every handle, timer, child, key and path of it.
//
// Each section below has a source file of the same name. What a section alone needs stays in the
// anonymous namespace of that file. Everything runs on the one thread, in callbacks of the run
// loop; the way out is always `stopProxy`, which ends the process.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/Delivery.h"
#include "app/DestinationQueue.h"
#include "app/EventRecord.h"
#include "app/ZanburyToolProxyState.h"
#include "platform/BackgroundReader.h"
#include "platform/BlockingWait.h"
#include "platform/ChildProcess.h"
#include "platform/Data.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/PropertyList.h"
#include "platform/ReadinessWatcher.h"
#include "platform/TemporaryDirectory.h"
#include "platform/Timer.h"
#include "protocol/ZanburyToolProxyMessage.h"
#include "util/ServerDestination.h"

namespace ztp {

/// The client side of one conversation. Make one, call `startProxy`, run the run loop. A failing
/// step calls `abortWithReason` and nothing else: no failure travels up a call chain.
class ZanburyToolProxy final : public ZanburyToolProxyMessageDelegate, private Attendant {
 public:
  using State = ZanburyToolProxyState;
  using MessageType = ZanburyToolProxyMessageType;

  /// A session that has not started; `initServerProxy` makes one for a role.
  ZanburyToolProxy() = default;
  ZanburyToolProxy(const ZanburyToolProxy&) = delete;
  ZanburyToolProxy& operator=(const ZanburyToolProxy&) = delete;
  ~ZanburyToolProxy() override = default;

  // --- ZanburyToolProxy.cpp: birth, abort, stop ---

  /// A new session. The server role is not built: asking for it ends the process with status 1.
  static std::unique_ptr<ZanburyToolProxy> initServerProxy(bool isServer);
  /// Makes the working directory and starts the client; what follows comes from the run loop.
  void startProxy();
  /// Lets go of everything, removes the working directory and ends the process: status 1 after an
  /// abort, otherwise `toolExitCode`.
  [[noreturn]] void stopProxy();
  /// The one way to fail: logs the reasons, tells the host (when the user canceled) and the server,
  /// stops. Each argument may be absent. Returns only when the session had aborted before; then it
  /// does no more than log.
  void abortWithReason(std::optional<std::string_view> reason, const std::optional<Error>& error,
                       const std::exception* exception, bool userDidCancel);
  /// The same, the user not having canceled.
  void abortWithReason(std::optional<std::string_view> reason, const std::optional<Error>& error,
                       const std::exception* exception);

 private:
  void createTemporaryDirectory();
  /// The one place that changes the state. A way that there is not is a mistake of the program and
  /// raises std::logic_error.
  void enterState(State next);
  [[nodiscard]] int exitStatus() const;
  /// What machines are told of an end that no abort has brought.
  [[nodiscard]] std::string_view endingCode() const;
  /// Removes a file or a tree; nothing for an empty path or one where nothing is.
  void removeItemAtPath(const std::filesystem::path& path);
  void transitionToStateAborted();
  /// Runs a callback of the run loop; whatever it raises aborts the session.
  void perform(const std::function<void()>& callback);
  /// The last resort when not even an abort works, because memory is short: removes the working
  /// directory and ends the process with status 1.
  [[noreturn]] void leaveNothing() noexcept;
  /// For the end: no buffer of the session can be used any more after it.
  void wipeSecrets() noexcept;
  /// From now on no wait lasts longer than until `time` has passed.
  void endWaitsIn(std::chrono::milliseconds time);
  /// Waits, 100 ms at most, until ssh has taken the last message out of the pipe: what comes next
  /// is its end.
  void giveLastMessageItsChance();

  // --- Attendance.cpp: signals, ended children, and what still acts during a blocking wait ---

  void startAttending();
  void abortIfTerminated();
  /// Whether bytes from the host mean a cancel, at once.
  [[nodiscard]] bool canHostCancel() const;
  [[nodiscard]] std::vector<int> descriptorsToWatch() const override;
  void attend() override;
  [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> deadline() const override;

  // --- ClientEnvironment.cpp: configuration ---

  void startClient();
  void readClientEnvironment();
  /// The variable that holds the identity; its text is wiped in the environment, too, at the end.
  static constexpr const char* identityVariable = "EXPORT_SERVER_IDENTITY";
  /// Puts the destinations, trimmed and without the empty ones, at the front of the queue.
  void pushServerDestinations(const std::vector<std::string>& destinations);

  // --- ServerConnection.cpp: ssh and the retry countdown ---

  /// Tries the next destination, or starts the countdown when none is left.
  void launchServerTask();
  void launchServerTaskWithDestination(const std::string& destination);
  [[nodiscard]] bool writeIdentity();
  /// The key is on disk only from the start of an ssh to its server's first message.
  void removeIdentity();
  [[nodiscard]] std::vector<std::string> sshArguments(const std::string& user,
                                                      const std::string& portText,
                                                      const std::string& host) const;
  /// Tells ssh to end. Its output may have ended while it has not: a server can close one stream
  /// and keep the other, and ssh processes must not pile up.
  void endServerTask();
  /// Forgets the child and closes its pipes; half a message and the identity go with them.
  void cleanUpServerTask();
  void transitionToStateRetry();
  void stopRetryTimer();
  void retryTimerFired();

  // --- MessageDispatch.cpp: the stream from and to the server ---

  void startReadingInputFileHandle();
  void stopReadingInputFileHandle();
  void inputFileHandleDidRead(DataView data);
  void serverStreamDidEnd();
  /// Feeds one chunk to the readers of its messages; true when reading may go on.
  [[nodiscard]] bool consumeChunk(DataView chunk);
  /// Aborts when the message is malformed or announces more than its type may have.
  [[nodiscard]] bool isAcceptable(ZanburyToolProxyMessage& message);
  /// The largest body of a type in bytes; 0: no limit.
  [[nodiscard]] static std::uint64_t maxLengthForType(MessageType type);
  /// Acts on a complete message; true when reading may go on.
  [[nodiscard]] bool handleMessage(const ZanburyToolProxyMessage& message);
  [[nodiscard]] bool handleServerHello(const ZanburyToolProxyMessage& message);
  [[nodiscard]] bool handleServerHandshake(const ZanburyToolProxyMessage& message);
  [[nodiscard]] bool handleInputArchiveAcknowledgement();
  [[noreturn]] void handleOutputArchive(const ZanburyToolProxyMessage& message);
  void abortWithErrorMessage(const ZanburyToolProxyMessage& message);
  void abortWithUnexpectedMessage(const ZanburyToolProxyMessage& message);
  /// Each writes one message to the server and blocks until it is written; nothing happens without
  /// a connection, a failure aborts.
  void sendMessageWithType(MessageType type);
  void sendMessageWithType(MessageType type, const Dictionary& dictionary);
  void sendMessageWithType(MessageType type, Data data);
  void sendMessageWithType(MessageType type, const std::filesystem::path& filePath);
  void abortAfterFailedWrite();

  // --- Handshake.cpp: greeting, session key, redirects ---

  void transitionToStateWaitingForServerHello();
  void consumeServerHello(const std::optional<Dictionary>& dictionary);
  void sendClientHandshake();
  void addClientDescription(Dictionary& dictionary) const;
  void addHostDescription(Dictionary& dictionary) const;
  void generateSessionSecrets();
  void addSessionSecrets(Dictionary& dictionary) const;
  void transitionToStateWaitingForServerHandshake();
  /// True when the session goes on to the upload, false when it was redirected (or has failed).
  [[nodiscard]] bool consumeServerHandshake(const std::optional<Dictionary>& dictionary);
  void redirectTo(const std::vector<std::string>& destinations);
  [[nodiscard]] bool saltMatches(const Dictionary& dictionary) const;
  [[nodiscard]] std::optional<std::vector<std::string>> redirectDestinations(
      const Dictionary& dictionary) const;

  // --- InputArchive.cpp: the upload ---

  void createInputArchive();
  [[nodiscard]] bool copySourceFile(const std::filesystem::path& directory);
  [[nodiscard]] bool zipAndEncrypt(const std::filesystem::path& directory);
  void transitionToStateSendingInputArchive();
  /// The server's acknowledgement can overtake the last step of the upload, the one that finds the
  /// end of the file. Does that step now: its progress must not come amid what the tool sends.
  void finishUploadProgress();
  /// When the session ends while a message that is written at once waits for room, nothing may
  /// follow its half: the end of the stream is all that the server still hears.
  void endStreamInsideAFrame();
  /// After an upload that broke off the server would wait for the rest, perhaps for ever. The end
  /// of its input tells it; its last words are still read, and the end of its stream ends the
  /// session.
  void endStreamToServer();
  [[nodiscard]] bool messageShouldContinueWritingWithTotalBytesWritten(
      ZanburyToolProxyMessage& message, std::uint64_t total) override;
  void messageDidFinishWritingAsynchronously(ZanburyToolProxyMessage& message) override;

  // --- Forwarding.cpp: the tool's messages for the host, the host's bytes for the tool ---

  void transitionToStateWaitingForServerDidStartForwarding();
  void transitionToStateForwardingMessages();
  void consumeForwardedData(DataView body);
  void forwardData(DataView bytes);

  // --- OutputArchive.cpp: the result ---

  void transitionToStateWaitingForOutputArchive();
  void sendOutputArchiveAcknowledgement();
  void consumeOutputArchive(const ZanburyToolProxyMessage& message);
  /// Makes room for the result: the source's copy and its archive are needed no more.
  void removeUploadedFiles();
  [[nodiscard]] bool unpackOutputArchive();
  void abortAfterFailedDelivery(const std::optional<Delivery::Failure>& failure);

  // --- HostChannel.cpp: the two FIFOs ---

  /// True for the tool whose input FIFO is polled and whose forwarded bytes are flushed.
  [[nodiscard]] bool isConverterTool() const;
  void openFifos();
  void startReadingInputFifoFileHandle();
  void inputFifoFileHandleDidRead(DataView data);
  void inputFifoTimerFired();
  void abortIfHostIsGone();
  /// Decides what bytes from the host mean; true when reading may go on.
  bool consumeInputFifoData(DataView data);
  /// A title that is absent, or a maximum of 0, is left out of the message.
  void sendProgressSectionWithTitle(std::optional<std::string_view> title, std::uint64_t maxValue);
  void sendProgressStatusWithValue(std::uint64_t value);
  void sendFifoMessage(const PropertyListDictionary& dictionary);
  /// Writes to the output FIFO. Raises PlatformException. Nothing is written behind half a
  /// message: what the host would read then would not be one.
  void writeToOutputFifo(DataView bytes);

  // --- Properties ---

  /// Never set in this build.
  bool isServer = false;
  State state = State::None;
  /// The lines that the last abort logged.
  std::vector<std::string> abortStrings;

  /// The stream from ssh and the stream to it; absent without a connection.
  std::optional<FileHandle> inputFileHandle;
  std::optional<FileHandle> outputFileHandle;
  std::optional<FileHandle> inputFifoFileHandle;
  std::optional<FileHandle> outputFifoFileHandle;
  std::optional<Timer> inputFifoTimer;

  /// The private working directory; empty when it could not be made: nothing may be written then.
  std::filesystem::path temporaryDirectoryPath;
  /// A message whose body was incomplete at the end of the last chunk.
  std::unique_ptr<ZanburyToolProxyMessage> pendingInputMessage;
  /// The message that is being written asynchronously.
  std::unique_ptr<ZanburyToolProxyMessage> pendingOutputMessage;
  std::filesystem::path inputArchivePath;
  std::filesystem::path outputArchivePath;

  // From the environment; absent means not set there.
  std::optional<std::string> sourceFilePath;
  std::optional<std::string> destFilePath;
  std::optional<std::string> logsDirPath;
  std::optional<std::string> inputFifoPath;
  std::optional<std::string> outputFifoPath;
  std::optional<std::string> toolName;
  std::optional<std::string> toolVersion;
  std::optional<std::string> serverCommandPath;
  std::optional<SecretText> serverIdentity;
  std::optional<std::string> hostPath;
  std::int64_t hostPid = 0;  // 0: unknown
  std::optional<std::string> clientId;
  std::optional<std::string> macAddress;
  std::optional<std::string> userId;
  std::optional<std::string> userName;
  std::optional<std::string> publicKey;
  std::int64_t retryDelay = 0;  // seconds

  /// Still to be tried, front first.
  DestinationQueue serverDestinations;
  std::filesystem::path identityPath;
  std::optional<ChildProcess> serverTask;
  std::int64_t retryCountdown = 0;  // seconds
  std::optional<Timer> retryTimer;

  // Of the handshake; a new set for each.
  std::optional<Data> symmetricKey;      // 32 bytes
  std::optional<Data> forwardingIV;      // 16 bytes
  std::optional<Data> inputArchiveIV;    // 16 bytes
  std::optional<Data> outputArchiveIV;   // absent: zeros
  std::optional<Data> handshakeSalt;     // 32 bytes
  std::int64_t maxInputArchiveSize = 0;  // bytes; 0 or less: no limit

  std::int64_t toolExitCode = 0;

  // --- What the sections keep for themselves ---

  std::optional<TemporaryDirectory> temporaryDirectory_;
  std::optional<BackgroundReader> inputReader_;
  std::optional<BackgroundReader> inputFifoReader_;
  std::optional<ReadinessWatcher> terminationWatcher_;
  std::optional<ReadinessWatcher> childEndWatcher_;
  /// When the last words that are being said must be out; set by the abort and the stop.
  std::optional<std::chrono::steady_clock::time_point> lastWordsDeadline_;
  int redirectCount_ = 0;  // of the whole session
  /// The one that is connected to.
  std::optional<ServerDestination> server_;
  EventRecord events_;
  bool isDebugging_ = false;
  /// How the session ends, as far as it is known; see Ending.h.
  std::string_view endingCode_;
  std::optional<std::string> endingReason_;
  /// From the moment on at which the result is there. What the host sends then does nothing more.
  std::optional<Delivery> delivery_;
};

}  // namespace ztp
