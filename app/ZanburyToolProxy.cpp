// Birth, abort and stop of a session, and what interrupts it.
#include "app/ZanburyToolProxy.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/ProcessEnded.h"
#include "app/SessionFailure.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace ztp {
namespace {

using std::chrono::milliseconds;

// How long the last words may wait for whoever does not take them: the log and the host, who may
// only have paused, and the server.
constexpr milliseconds lastWordsTime{1000};
constexpr milliseconds lastMessageTime = ServerConnection::lastMessageTime;

// From now on no wait lasts longer, and nothing interrupts one.
auto endWaitsIn(milliseconds time) {
  return BlockingWait::setDeadline(BlockingWait::Clock::now() + time);
}

std::optional<std::string> nonEmpty(std::optional<std::string_view> text) {
  return text && !text->empty() ? std::optional(toValidUtf8(*text)) : std::nullopt;
}

// What the three arguments of an abort say, each only when it says something.
struct Causes {
  std::optional<std::string> reason;
  std::optional<std::string> error;
  std::optional<std::string> exception;

  [[nodiscard]] std::vector<std::string> lines() const {
    std::vector<std::string> result;
    if (reason) result.push_back(printable(*reason));
    if (error) result.push_back("Error: " + printable(*error));
    if (exception) result.push_back("Exception: " + printable(*exception));
    return result;
  }

  [[nodiscard]] Dictionary dictionary() const {
    Dictionary result = Dictionary::object();
    if (reason) result["reason"] = *reason;
    if (error) result["error"] = *error;
    if (exception) result["exception"] = *exception;
    return result;
  }
};

}  // namespace

std::unique_ptr<ZanburyToolProxy> ZanburyToolProxy::initServerProxy(bool isServer) {
  auto session = std::make_unique<ZanburyToolProxy>();
  if (isServer) session->abortWithReason("Not a server", std::nullopt, nullptr);
  return session;
}

void ZanburyToolProxy::startProxy() {
  perform([this] {
    BlockingWait::setDeadline(std::nullopt);
    InterruptHandler& handler = *this;
    interruption_.emplace(handler);
    if (isServer) return;
    directory_.createTemporaryDirectory();
    startClient();
  });
}

void ZanburyToolProxy::perform(const std::function<void()>& work) {
  try {
    try {
      work();
    } catch (const SessionFailure& failure) {
      abortAfter(failure);
    } catch (const std::exception& exception) {
      abortWithReason(std::nullopt, std::nullopt, &exception);
    }
  } catch (const std::exception&) {
    // Memory is short, even for the abort.
    if (std::exchange(state, State::Aborted) != State::Aborted) events_.transition(state);
    stopProxy();
  }
}

void ZanburyToolProxy::performQuietly(const std::function<void()>& work) {
  try {
    work();
  } catch (const SessionFailure& failure) {
    abortAfter(failure);
  }
}

void ZanburyToolProxy::abortAfter(const SessionFailure& failure) {
  abortWithReason(failure.reason, failure.error, failure.exception ? &*failure.exception : nullptr,
                  failure.userDidCancel);
}

void ZanburyToolProxy::abortWithReason(const std::optional<std::string>& reason,
                                       const MaybeError& error, const std::exception* exception) {
  abortWithReason(reason, error, exception, false);
}

void ZanburyToolProxy::abortWithReason(const std::optional<std::string>& reason,
                                       const MaybeError& error, const std::exception* exception,
                                       bool userDidCancel) {
  const Causes causes{nonEmpty(reason), error ? nonEmpty(error->description) : std::nullopt,
                      exception ? nonEmpty(exception->what()) : std::nullopt};
  abortStrings = causes.lines();
  if (state != State::Aborted) events_.aborting(causes.reason);
  const auto deadline = endWaitsIn(lastWordsTime);
  log("{}", fmt::join(abortStrings, "\n"));
  if (state == State::Aborted) {
    BlockingWait::setDeadline(deadline);
    return;
  }
  transitionToStateAborted();
  endWaitsIn(lastWordsTime);
  if (userDidCancel) {
    performQuietly([&] { host_.sendProgressSectionWithTitle("Canceling...", 0); });
  }
  endWaitsIn(lastMessageTime);
  if (connection_) {
    connection_->endInterruptedStream();
    performQuietly(
        [&] { connection_->sendMessageWithType(MessageType::Error, causes.dictionary()); });
    connection_->drainLastMessage();
  }
  stopProxy();
}

void ZanburyToolProxy::stopProxy() {
  // What is said while the stack unwinds must not wait for ever.
  if (!BlockingWait::deadline()) endWaitsIn(lastMessageTime);
  events_.ended(state == State::Aborted, toolExitCode);
  throw ProcessEnded{exitStatus()};
}

int ZanburyToolProxy::exitStatus() const {
  return state == State::Aborted ? 1 : static_cast<int>(toolExitCode);
}

void ZanburyToolProxy::enterState(State next) {
  if (!canFollow(state, next)) {
    throw std::logic_error(
        fmt::format("no way from {} to {}", stringForState(state), stringForState(next)));
  }
  if (environment_.isDebugging) {
    log("state {} -> {}", static_cast<std::int64_t>(state), static_cast<std::int64_t>(next));
  }
  state = next;
  events_.transition(next);
}

void ZanburyToolProxy::transitionToStateAborted() {
  enterState(State::Aborted);
}

// While forwarding, bytes of the host are no cancel and wait for their turn; once the delivery has
// begun it is too late for one.
bool ZanburyToolProxy::canHostCancel() const {
  return state != State::ForwardingMessages && !delivery_;
}

InterruptHandler::Descriptors ZanburyToolProxy::descriptorsToWatch() const {
  return {Interruption::terminationDescriptor(), canHostCancel() ? host_.inputDescriptor() : -1};
}

void ZanburyToolProxy::handleInterrupts() {
  try {
    Interruption::raiseIfTerminated();
    host_.checkInput(canHostCancel());
  } catch (const std::exception& exception) {
    // Not a failure of whatever was interrupted, whose callers would take it for one.
    throw SessionFailure{std::nullopt, std::nullopt, PlatformException(exception.what())};
  }
}

}  // namespace ztp
