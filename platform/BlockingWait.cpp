// Blocking waits built on poll(2).
#include "platform/BlockingWait.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include <poll.h>

#include <thread>

namespace ztp {
namespace {

using Clock = BlockingWait::Clock;
using TimePoint = Clock::time_point;
using std::chrono::milliseconds;

constexpr milliseconds interruptInterval{100};
constexpr milliseconds longestWaitOfADestructor{1000};

InterruptHandler* currentHandler = nullptr;
std::optional<TimePoint> currentDeadline;

bool isUnwinding() {
  return std::uncaught_exceptions() > 0;
}

// Who is called during a wait that begins now.
InterruptHandler* handlerOfWait() {
  return currentDeadline || isUnwinding() ? nullptr : currentHandler;
}

std::optional<TimePoint> deadlineOfWait() {
  if (currentDeadline || !isUnwinding()) return currentDeadline;
  return Clock::now() + longestWaitOfADestructor;
}

bool hasPassed(std::optional<TimePoint> time) {
  return time && Clock::now() >= *time;
}

milliseconds remaining(TimePoint until) {
  // Rounded up, so that a wait does not spin through its last millisecond.
  return std::max(milliseconds{0}, std::chrono::ceil<milliseconds>(until - Clock::now()));
}

// The descriptor waited for comes first, then the handler's; -1 is none, which poll ignores.
std::array<pollfd, 3> descriptorsFor(int fileDescriptor, short events,
                                     const InterruptHandler* handler) {
  const auto watched =
      handler ? handler->descriptorsToWatch() : InterruptHandler::Descriptors{-1, -1};
  return {{{fileDescriptor, events, 0}, {watched[0], POLLIN, 0}, {watched[1], POLLIN, 0}}};
}

enum class Event { ready, interrupt, nothing };

// One poll of at most `timeout`: whether what is waited for is there, or the handler's descriptors
// have something. A poll that cannot be made at all has something for the handler too.
Event pollOnce(int fileDescriptor, short events, milliseconds timeout,
               const InterruptHandler* handler) {
  auto descriptors = descriptorsFor(fileDescriptor, events, handler);
  const int count =
      ::poll(descriptors.data(), descriptors.size(), static_cast<int>(timeout.count()));
  if (count < 0 && errno != EINTR) std::this_thread::sleep_for(timeout);  // memory is short
  if (count < 0) return errno == EINTR ? Event::nothing : Event::interrupt;
  if (descriptors[0].revents != 0) return Event::ready;
  return count > 0 ? Event::interrupt : Event::nothing;
}

// The handler's turn comes by the clock: signals that break off every poll do not put it off.
BlockingWait::Outcome wait(int fileDescriptor, short events, std::optional<TimePoint> end) {
  const auto deadline = deadlineOfWait();
  InterruptHandler* const handler = handlerOfWait();
  auto nextCheck = Clock::now() + interruptInterval;
  for (;;) {
    auto until = nextCheck;
    if (end) until = std::min(until, *end);
    if (deadline) until = std::min(until, *deadline);
    const Event event = pollOnce(fileDescriptor, events, remaining(until), handler);
    if (event == Event::ready) return BlockingWait::Outcome::ready;
    if (hasPassed(end) || hasPassed(deadline)) return BlockingWait::Outcome::expired;
    if (event == Event::nothing && !hasPassed(nextCheck)) continue;
    if (handler) handler->handleInterrupts();
    nextCheck = Clock::now() + interruptInterval;
  }
}

}  // namespace

BlockingWait::Registration::Registration(InterruptHandler& handler) noexcept {
  currentHandler = &handler;
}

BlockingWait::Registration::~Registration() {
  currentHandler = nullptr;
}

std::optional<TimePoint> BlockingWait::setDeadline(std::optional<TimePoint> deadline) {
  return std::exchange(currentDeadline, deadline);
}

std::optional<TimePoint> BlockingWait::deadline() noexcept {
  return currentDeadline;
}

BlockingWait::Outcome BlockingWait::untilWritable(int fileDescriptor) {
  return wait(fileDescriptor, POLLOUT, std::nullopt);
}

BlockingWait::Outcome BlockingWait::untilReadable(int fileDescriptor) {
  return wait(fileDescriptor, POLLIN, std::nullopt);
}

BlockingWait::Outcome BlockingWait::untilReadable(int fileDescriptor, milliseconds atMost) {
  const auto deadline = deadlineOfWait();
  const Outcome outcome = wait(fileDescriptor, POLLIN, Clock::now() + atMost);
  return hasPassed(deadline) ? outcome : Outcome::ready;
}

void BlockingWait::sleepFor(milliseconds duration) {
  static_cast<void>(wait(-1, 0, Clock::now() + duration));
}

void BlockingWait::checkInterrupts() {
  InterruptHandler* const handler = handlerOfWait();
  if (handler && pollOnce(-1, 0, milliseconds{0}, handler) == Event::interrupt) {
    handler->handleInterrupts();
  }
}

}  // namespace ztp
