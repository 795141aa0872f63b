// The session: one conversation between the host, which started this process, and a server of
// Zanbury Cloud. Here are its states, its transitions, the dispatch of messages and the way out;
// what it works with are parts that it owns and that do not know it.
//
// Everything runs on the one thread, in callbacks of the run loop. A step that fails raises, and
// `perform` turns that into the abort; the way out is always `stopProxy`, which raises as well.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/ClientEnvironment.h"
#include "app/Delivery.h"
#include "app/DestinationQueue.h"
#include "app/EventRecord.h"
#include "app/HostChannel.h"
#include "app/InputArchive.h"
#include "app/Interruption.h"
#include "app/ServerConnection.h"
#include "app/SessionSecrets.h"
#include "app/WorkingDirectory.h"
#include "app/ZanburyToolProxyState.h"
#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Timer.h"
#include "protocol/ZanburyToolProxyMessageDelegate.h"

namespace ztp {

struct SessionFailure;

/// The client side of one conversation. Make one, call `startProxy`, run the run loop in `perform`.
/// Each of them ends the session by raising ProcessEnded.
class ZanburyToolProxy final : private InterruptHandler,
                               private ServerConnectionDelegate,
                               private ZanburyToolProxyMessageDelegate {
 public:
  using State = ZanburyToolProxyState;
  using Message = ZanburyToolProxyMessage;
  using MessageType = ZanburyToolProxyMessageType;

  // --- ZanburyToolProxy.cpp: birth, abort, stop ---

  /// A new session. The server role is not built: asking for it ends the process with status 1.
  static std::unique_ptr<ZanburyToolProxy> initServerProxy(bool isServer);
  /// Makes the working directory and starts the client; what follows comes from the run loop.
  void startProxy();
  /// Runs what belongs to the session. Whatever that raises aborts the session, which raises
  /// ProcessEnded.
  void perform(const std::function<void()>& work);

 private:
  /// Ends the session: everything that it owns goes as the stack unwinds. Status 1 after an abort,
  /// otherwise `toolExitCode`.
  [[noreturn]] void stopProxy();
  /// Logs the reasons, tells the host (when the user canceled) and the server, stops. Each argument
  /// may be absent. Returns only when the session had aborted before; then it does no more than
  /// log.
  void abortWithReason(const std::optional<std::string>& reason, const MaybeError& error,
                       const std::exception* exception, bool userDidCancel);
  void abortWithReason(const std::optional<std::string>& reason, const MaybeError& error,
                       const std::exception* exception);
  void abortAfter(const SessionFailure& failure);
  /// Last words: a failure is no more than logged.
  void performQuietly(const std::function<void()>& work);
  /// The one place that changes the state. A way that there is not is a mistake of the program and
  /// raises std::logic_error.
  void enterState(State next);
  void transitionToStateAborted();
  [[nodiscard]] int exitStatus() const;
  /// Whether bytes from the host mean a cancel, at once.
  [[nodiscard]] bool canHostCancel() const;
  [[nodiscard]] Descriptors descriptorsToWatch() const override;
  void handleInterrupts() override;

  // --- ClientStart.cpp: configuration, and what the host's bytes mean ---

  void startClient();
  [[nodiscard]] bool consumeInputFifoData(DataView data);

  // --- Connecting.cpp: one server after the other, and the countdown ---

  void transitionToStateWaitingForServerHello();
  /// Puts the destinations, trimmed and without the empty ones, at the front of the queue.
  void pushServerDestinations(const std::vector<std::string>& destinations);
  /// Tries the next destination, or starts the countdown when none is left.
  void launchServerTask();
  void cleanUpServerTask();
  void serverStreamDidEnd() override;
  void transitionToStateRetry();
  void stopRetryTimer();
  void retryTimerFired();

  // --- MessageDispatch.cpp: what the server's messages mean ---

  [[nodiscard]] bool keepsBodyOfType(MessageType type) const override;
  void messageDidConsumeBytes(const MessageReader& message) override;
  [[nodiscard]] bool handleMessage(Message& message) override;
  [[nodiscard]] bool handleServerHello(const Message& message);
  [[nodiscard]] bool handleServerHandshake(const Message& message);
  [[nodiscard]] bool handleInputArchiveAcknowledgement();
  [[noreturn]] void handleOutputArchive(const Message& message);
  [[noreturn]] void raiseErrorMessage(const Message& message);

  // --- Handshake.cpp: greeting, session key, redirects ---

  void consumeServerHello(const std::optional<Dictionary>& dictionary);
  void sendClientHandshake();
  void transitionToStateWaitingForServerHandshake();
  /// True when the session goes on to the upload, false when it was redirected.
  [[nodiscard]] bool consumeServerHandshake(const std::optional<Dictionary>& dictionary);
  void redirectTo(const std::vector<std::string>& destinations);

  // --- Upload.cpp ---

  void createInputArchive();
  void transitionToStateSendingInputArchive();
  [[nodiscard]] bool messageShouldContinueWritingWithTotalBytesWritten(
      AsynchronousWriter& message, std::uint64_t total) override;
  void messageDidFinishWritingAsynchronously(AsynchronousWriter& message) override;

  // --- Forwarding.cpp: the tool's messages for the host, the host's bytes for the tool ---

  void transitionToStateWaitingForServerDidStartForwarding();
  void transitionToStateForwardingMessages();
  void consumeForwardedData(Data body);
  void forwardData(DataView bytes);

  // --- OutputArchive.cpp: the result ---

  void transitionToStateWaitingForOutputArchive();
  void sendOutputArchiveAcknowledgement();
  void consumeOutputArchive(const Message& message);
  void unpackOutputArchive(const std::filesystem::path& outputArchivePath);
  void deliver(const std::string& destFileName);

  // What goes first at the end stands last.

  /// Never set in this build.
  bool isServer = false;
  State state = State::None;
  /// The lines that the last abort logged.
  std::vector<std::string> abortStrings;
  ClientEnvironment environment_;
  EventRecord events_;
  WorkingDirectory directory_;
  SessionSecrets secrets_;
  std::int64_t maxInputArchiveSize = 0;  // bytes; 0 or less: no limit
  std::optional<InputArchive> inputArchive_;
  std::int64_t toolExitCode = 0;
  /// From the moment on at which the result is there. What the host sends then does nothing more.
  std::optional<Delivery> delivery_;
  /// Still to be tried, front first.
  DestinationQueue serverDestinations;
  int redirectCount_ = 0;           // of the whole session
  std::int64_t retryCountdown = 0;  // seconds
  std::optional<Timer> retryTimer;
  std::optional<ServerConnection> connection_;
  HostChannel host_;
  std::optional<Interruption> interruption_;
};

}  // namespace ztp
