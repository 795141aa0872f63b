// The connection to a server: ssh as a child, one destination after the other, and the countdown
// before the whole list is tried again.
#include <fmt/format.h>
#include <unistd.h>

#include <utility>

#include "app/ZanburyToolProxy.h"
#include "platform/Error.h"
#include "platform/FileManager.h"
#include "platform/Pipe.h"
#include "util/ServerDestination.h"

namespace ztp {
namespace {

constexpr std::chrono::seconds countdownTick{1};

}  // namespace

void ZanburyToolProxy::launchServerTask() {
  if (serverDestinations.isEmpty()) {
    transitionToStateRetry();
    return;
  }
  const std::string destination = serverDestinations.takeFirst();
  perform([&] { launchServerTaskWithDestination(destination); });
}

void ZanburyToolProxy::launchServerTaskWithDestination(const std::string& destination) {
  const auto server = ServerDestination::fromString(destination);
  if (!server) {
    abortWithReason("Invalid server destination", std::nullopt, nullptr);
    return;
  }
  server_ = server;
  events_.connecting(*server);
  if (!writeIdentity()) return;
  // Empty, so that no user or system configuration takes part in the connection.
  static_cast<void>(FileManager::createEmptyFile(temporaryDirectoryPath / "config"));
  sendProgressSectionWithTitle("Connecting to Zanbury Cloud...", 0);
  ChildProcess::Command ssh{
      "/usr/bin/ssh", sshArguments(server->user, server->portText, server->host), {}};
  Pipe standardInput = Pipe::create();
  Pipe standardOutput = Pipe::create();
  serverTask =
      ChildProcess::launch(ssh, {standardInput.readingEnd.fileDescriptor(),
                                 standardOutput.writingEnd.fileDescriptor(), STDERR_FILENO});
  inputFileHandle = std::move(standardOutput.readingEnd);
  outputFileHandle = std::move(standardInput.writingEnd);
  startReadingInputFileHandle();
}

bool ZanburyToolProxy::writeIdentity() {
  constexpr std::string_view reason = "Could not write identity to a file";
  if (temporaryDirectoryPath.empty()) {
    abortWithReason(reason, Error{"There is no working directory"}, nullptr);
    return false;
  }
  identityPath = temporaryDirectoryPath / "identity";
  removeItemAtPath(identityPath);
  if (!serverIdentity) {
    abortWithReason(reason, Error{"EXPORT_SERVER_IDENTITY is not set"}, nullptr);
    return false;
  }
  if (const auto error = FileManager::writeNewPrivateFile(identityPath, bytesOf(*serverIdentity))) {
    abortWithReason(reason, error, nullptr);
    return false;
  }
  return true;
}

void ZanburyToolProxy::removeIdentity() {
  removeItemAtPath(std::exchange(identityPath, {}));
}

std::vector<std::string> ZanburyToolProxy::sshArguments(const std::string& user,
                                                        const std::string& portText,
                                                        const std::string& host) const {
  if (!serverCommandPath) throw PlatformException("EXPORT_SERVER_COMMAND_PATH is not set");
  return {"-F",    temporaryDirectoryPath / "config",
          "-o",    "ServerAliveInterval=5",
          "-o",    "ServerAliveCountMax=3",
          "-o",    "TCPKeepAlive=yes",
          "-o",    "Compression=yes",
          "-o",    "StrictHostKeyChecking=no",
          "-i",    identityPath,
          "-l",    user,
          "-p",    portText,
          host,    *serverCommandPath,
          "server"};
}

void ZanburyToolProxy::endServerTask() {
  if (serverTask) serverTask->terminate();
}

void ZanburyToolProxy::cleanUpServerTask() {
  removeIdentity();
  serverTask.reset();
  if (inputFileHandle) {
    stopReadingInputFileHandle();
    inputFileHandle->close();
    inputFileHandle.reset();
  }
  if (outputFileHandle) {
    outputFileHandle->close();
    outputFileHandle.reset();
  }
  pendingInputMessage.reset();
}

void ZanburyToolProxy::transitionToStateRetry() {
  enterState(State::Retry);
  // A delay at the very end of the range must not overflow.
  retryCountdown = retryDelay < INT64_MAX ? retryDelay + 1 : retryDelay;
  stopRetryTimer();
  retryTimer.emplace(countdownTick, [this] { perform([this] { retryTimerFired(); }); });
}

void ZanburyToolProxy::stopRetryTimer() {
  retryTimer.reset();
}

void ZanburyToolProxy::retryTimerFired() {
  if (state != State::Retry) {
    stopRetryTimer();
    return;
  }
  --retryCountdown;
  if (retryCountdown < 1) {
    stopRetryTimer();
    readClientEnvironment();
    transitionToStateWaitingForServerHello();
    launchServerTask();
    return;
  }
  sendProgressSectionWithTitle(
      fmt::format("Could not connect. Will try again in {} {}...", retryCountdown,
                  retryCountdown == 1 ? "second" : "seconds"),
      0);
}

}  // namespace ztp
