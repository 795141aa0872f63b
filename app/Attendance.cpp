// Signals, ended children, and what still acts while the one thread is blocked.
#include "app/ZanburyToolProxy.h"
#include "platform/Signals.h"

namespace ztp {

void ZanburyToolProxy::startAttending() {
  using Interest = ReadinessWatcher::Interest;
  terminationWatcher_.emplace(Signals::terminationDescriptor(), Interest::readable,
                              [this] { perform([this] { abortIfTerminated(); }); });
  childEndWatcher_.emplace(Signals::childEndDescriptor(), Interest::readable, [] {
    Signals::forgetChildEnds();
    ChildProcess::reapForgotten();
  });
  BlockingWait::setAttendant(this);
}

void ZanburyToolProxy::abortIfTerminated() {
  if (const auto signalNumber = Signals::takeTermination()) {
    abortWithReason("Terminated by signal " + std::string(Signals::name(*signalNumber)),
                    std::nullopt, nullptr);
  }
}

// While forwarding, bytes of the host are no cancel and wait for their turn; once the delivery has
// begun it is too late for one.
bool ZanburyToolProxy::canHostCancel() const {
  return inputFifoFileHandle && state != State::ForwardingMessages && !delivery_;
}

std::vector<int> ZanburyToolProxy::descriptorsToWatch() const {
  if (lastWordsDeadline_) return {};
  std::vector<int> descriptors{Signals::terminationDescriptor()};
  if (canHostCancel()) {
    descriptors.push_back(inputFifoFileHandle->fileDescriptor());
  }
  return descriptors;
}

void ZanburyToolProxy::attend() {
  if (lastWordsDeadline_) return;
  perform([this] {
    abortIfTerminated();
    if (canHostCancel()) {
      const Data data = inputFifoFileHandle->availableData();
      if (!data.empty()) consumeInputFifoData(data);
    }
    // Whoever has no input FIFO that is polled has nobody who looks for the host either.
    if (isConverterTool() && inputFifoFileHandle) abortIfHostIsGone();
  });
}

std::optional<std::chrono::steady_clock::time_point> ZanburyToolProxy::deadline() const {
  return lastWordsDeadline_;
}

}  // namespace ztp
