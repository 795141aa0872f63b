// Birth, abort and stop of a session, and its working directory.
#include "app/ZanburyToolProxy.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "app/Ending.h"
#include "platform/FileManager.h"
#include "platform/LastResort.h"
#include "platform/Log.h"
#include "platform/ProcessEnd.h"
#include "platform/SecretMemory.h"
#include "platform/StandardStreams.h"
#include "platform/System.h"
#include "platform/Text.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::string_view fallbackRoot = "/tmp";
constexpr std::string_view directoryPrefix = "ZanburyToolProxy.";
// How long the last words may wait for whoever does not take them: the log and the host, who may
// only have paused, and the server.
constexpr milliseconds lastWordsTime{1000};
constexpr milliseconds lastMessageTime{100};
constexpr milliseconds timeBehindTheLastMessage{20};

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
    startAttending();
    createTemporaryDirectory();
    if (!isServer) startClient();
  });
}

void ZanburyToolProxy::createTemporaryDirectory() {
  if (isServer) return;
  const auto wantedRoot = system::temporaryRoot();
  const auto safeRoot = TemporaryDirectory::safeRoot(wantedRoot);
  if (!safeRoot) {
    log("ERROR: Others may write to {}: the working directory is made in {}",
        printable(wantedRoot.string()), fallbackRoot);
  }
  const auto root = safeRoot.value_or(fallbackRoot);
  TemporaryDirectory::removeStale(root, directoryPrefix);
  temporaryDirectory_ = TemporaryDirectory::create(root, directoryPrefix);
  if (temporaryDirectory_) temporaryDirectoryPath = temporaryDirectory_->path();
  LastResort::remember(temporaryDirectoryPath);
}

void ZanburyToolProxy::enterState(State next) {
  if (!canFollow(state, next)) {
    throw std::logic_error(
        fmt::format("no way from {} to {}", stringForState(state), stringForState(next)));
  }
  if (isDebugging_) {
    log("state {} -> {}", static_cast<std::int64_t>(state), static_cast<std::int64_t>(next));
  }
  state = next;
  events_.transition(next);
}

void ZanburyToolProxy::removeItemAtPath(const std::filesystem::path& path) {
  if (path.empty() || FileManager::isSurelyAbsent(path)) return;
  if (const auto error = FileManager::removeItem(path, TreeRemoval::Unremovable::empty)) {
    log("ERROR: Could not remove file, error = {}", printable(error->description));
    const bool didRun = ZanburyToolProxyUtilities::runTaskWithLaunchPath(
        "/bin/rm", std::vector<std::string>{"-rf", path.string()});
    if (!didRun && path == temporaryDirectoryPath) LastResort::removeDirectory();
  }
}

void ZanburyToolProxy::perform(const std::function<void()>& callback) {
  try {
    try {
      callback();
    } catch (const std::exception& exception) {
      abortWithReason(std::nullopt, std::nullopt, &exception);
    }
  } catch (const std::exception&) {
    leaveNothing();
  }
}

void ZanburyToolProxy::leaveNothing() noexcept {
  try {
    transitionToStateAborted();
    stopProxy();
  } catch (...) {
    // Not even that: what is left to do must be done without memory.
    std::abort();
  }
}

void ZanburyToolProxy::wipeSecrets() noexcept {
  for (auto* secret :
       {&symmetricKey, &forwardingIV, &inputArchiveIV, &outputArchiveIV, &handshakeSalt}) {
    secret->reset();
  }
  serverIdentity.reset();
  if (char* text = std::getenv(identityVariable)) wipe(text, std::strlen(text));
  // What is still held somewhere: by readers, and by those who called and will not be returned to.
  SecretMemory::wipeAll();
}

void ZanburyToolProxy::transitionToStateAborted() {
  enterState(State::Aborted);
}

void ZanburyToolProxy::abortWithReason(std::optional<std::string_view> reason,
                                       const std::optional<Error>& error,
                                       const std::exception* exception) {
  abortWithReason(reason, error, exception, false);
}

void ZanburyToolProxy::abortWithReason(std::optional<std::string_view> reason,
                                       const std::optional<Error>& error,
                                       const std::exception* exception, bool userDidCancel) {
  const Causes causes{nonEmpty(reason), error ? nonEmpty(error->description) : std::nullopt,
                      exception ? nonEmpty(exception->what()) : std::nullopt};
  abortStrings = causes.lines();
  if (state != State::Aborted) {
    endingReason_ = causes.reason;
    if (endingCode_ != ending::serverError) endingCode_ = codeForReason(endingReason_);
  }
  // From here on every wait has an end, the one for a full standard error included.
  const auto deadline = std::exchange(lastWordsDeadline_, Clock::now() + lastWordsTime);
  log("{}", fmt::join(abortStrings, "\n"));
  if (state == State::Aborted) {
    lastWordsDeadline_ = deadline;
    return;
  }
  transitionToStateAborted();
  endWaitsIn(lastWordsTime);
  if (userDidCancel) sendProgressSectionWithTitle("Canceling...", 0);
  endWaitsIn(lastMessageTime);
  endStreamInsideAFrame();
  sendMessageWithType(MessageType::Error, causes.dictionary());
  giveLastMessageItsChance();
  stopProxy();
}

void ZanburyToolProxy::endWaitsIn(milliseconds time) {
  lastWordsDeadline_ = Clock::now() + time;
}

void ZanburyToolProxy::giveLastMessageItsChance() {
  if (!lastWordsDeadline_) endWaitsIn(lastMessageTime);
  if (!outputFileHandle) return;
  const auto remains = [this] { return system::bytesInPipe(outputFileHandle->fileDescriptor()); };
  while (remains() > 0 && Clock::now() < *lastWordsDeadline_) {
    BlockingWait::sleepFor(milliseconds{1});
  }
  BlockingWait::sleepFor(timeBehindTheLastMessage);  // less when the deadline comes first
}

void ZanburyToolProxy::stopProxy() {
  if (!lastWordsDeadline_) endWaitsIn(lastMessageTime);
  for (auto* handle :
       {&inputFifoFileHandle, &outputFifoFileHandle, &inputFileHandle, &outputFileHandle}) {
    if (*handle) (*handle)->close();
    handle->reset();
  }
  if (serverTask) serverTask->terminate();
  serverTask.reset();
  stopRetryTimer();
  // An archiver that was interrupted must not go on writing into what is removed next.
  ChildProcess::killAwaited();
  if (delivery_) delivery_->abandon();
  removeItemAtPath(temporaryDirectoryPath);
  temporaryDirectoryPath.clear();
  LastResort::remember({});
  wipeSecrets();
  StandardStreams::restore();
  constexpr int seenByTheHost = 0xff;  // of an exit status (wait(2))
  events_.ended(endingCode(), endingReason_, exitStatus() & seenByTheHost);
  endProcess(exitStatus());
}

int ZanburyToolProxy::exitStatus() const {
  return state == State::Aborted ? 1 : static_cast<int>(toolExitCode);
}

std::string_view ZanburyToolProxy::endingCode() const {
  if (!endingCode_.empty()) return endingCode_;
  if (state == State::Aborted) return ending::systemError;  // no memory for an abort in order
  return toolExitCode == 0 ? ending::converted : ending::toolFailed;
}

}  // namespace ztp
