// One server after the other, and the countdown before the whole list is tried again.
#include <chrono>
#include <cstdint>

#include <fmt/format.h>

#include "app/Ending.h"
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"
#include "util/ServerDestination.h"

namespace ztp {
namespace {

constexpr std::chrono::seconds countdownTick{1};

}  // namespace

void ZanburyToolProxy::transitionToStateWaitingForServerHello() {
  enterState(State::WaitingForServerHello);
}

void ZanburyToolProxy::pushServerDestinations(const std::vector<std::string>& destinations) {
  serverDestinations.push(destinations);
}

void ZanburyToolProxy::launchServerTask() {
  if (serverDestinations.isEmpty()) {
    transitionToStateRetry();
    return;
  }
  const auto destination = ServerDestination::fromString(serverDestinations.takeFirst());
  if (!destination) throw SessionFailure{"Invalid server destination"};
  events_.connecting(*destination);
  ServerConnectionDelegate& delegate = *this;
  connection_.emplace(directory_.temporaryDirectoryPath(), *destination, delegate);
  connection_->writeIdentity(environment_.serverIdentity);
  connection_->writeConfiguration();
  host_.sendProgressSectionWithTitle("Connecting to Zanbury Cloud...", 0);
  connection_->launch(environment_.serverCommandPath);
}

void ZanburyToolProxy::cleanUpServerTask() {
  connection_->removeIdentity();
  connection_.reset();
}

void ZanburyToolProxy::serverStreamDidEnd() {
  if (state == State::WaitingForServerHello) {
    cleanUpServerTask();
    launchServerTask();
    return;
  }
  const auto& server = connection_->destination();
  log("ERROR: The connection to the server was lost in state {} ({}:{})", stringForState(state),
      server.host, server.portText);
  events_.endsWith(ending::connectionLost);
  stopProxy();
}

void ZanburyToolProxy::transitionToStateRetry() {
  enterState(State::Retry);
  // A delay at the very end of the range must not overflow.
  const auto delay = environment_.retryDelay;
  retryCountdown = delay < INT64_MAX ? delay + 1 : delay;
  stopRetryTimer();
  retryTimer.emplace(countdownTick, [this] { retryTimerFired(); });
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
    environment_.readClientEnvironment();
    pushServerDestinations(environment_.serverDestinations);
    transitionToStateWaitingForServerHello();
    launchServerTask();
    return;
  }
  host_.sendProgressSectionWithTitle(
      fmt::format("Could not connect. Will try again in {} {}...", retryCountdown,
                  retryCountdown == 1 ? "second" : "seconds"),
      0);
}

}  // namespace ztp
