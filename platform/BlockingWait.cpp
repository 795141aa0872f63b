// Blocking waits built on poll(2).
#include "platform/BlockingWait.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>

#include <thread>

namespace ztp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds attendanceInterval{100};

Attendant* currentAttendant = nullptr;

std::optional<Clock::time_point> attendantDeadline() {
  return currentAttendant ? currentAttendant->deadline() : std::nullopt;
}

bool hasPassed(std::optional<Clock::time_point> time) {
  return time && Clock::now() >= *time;
}

milliseconds remaining(Clock::time_point until) {
  // Rounded up, so that a wait does not spin through its last millisecond.
  return std::max(milliseconds{0}, std::chrono::ceil<milliseconds>(until - Clock::now()));
}

// The descriptor waited for comes first (-1: none, which poll ignores), then the attendant's.
std::vector<pollfd> descriptorsFor(int fileDescriptor, short events) {
  std::vector<pollfd> descriptors{{fileDescriptor, events, 0}};
  if (currentAttendant) {
    for (const int watched : currentAttendant->descriptorsToWatch()) {
      descriptors.push_back({watched, POLLIN, 0});
    }
  }
  return descriptors;
}

enum class Event { ready, attendance, nothing };

// One poll of at most `timeout`: whether what is waited for is there, or the attendant's
// descriptors have something. A poll that cannot be made at all has something for the attendant
// too.
Event pollOnce(int fileDescriptor, short events, milliseconds timeout) {
  auto descriptors = descriptorsFor(fileDescriptor, events);
  const int count =
      ::poll(descriptors.data(), descriptors.size(), static_cast<int>(timeout.count()));
  if (count < 0 && errno != EINTR) std::this_thread::sleep_for(timeout);  // memory is short
  if (count < 0) return errno == EINTR ? Event::nothing : Event::attendance;
  if (descriptors[0].revents != 0) return Event::ready;
  return count > 0 ? Event::attendance : Event::nothing;
}

// The attendant's turn comes by the clock: signals that break off every poll do not put it off.
BlockingWait::Outcome wait(int fileDescriptor, short events, std::optional<Clock::time_point> end) {
  auto nextAttendance = Clock::now() + attendanceInterval;
  for (;;) {
    auto until = nextAttendance;
    const auto deadline = attendantDeadline();
    if (end) until = std::min(until, *end);
    if (deadline) until = std::min(until, *deadline);
    const Event event = pollOnce(fileDescriptor, events, remaining(until));
    if (event == Event::ready) return BlockingWait::Outcome::ready;
    if (hasPassed(end) || hasPassed(deadline)) return BlockingWait::Outcome::expired;
    if (event == Event::nothing && !hasPassed(nextAttendance)) continue;
    if (currentAttendant) currentAttendant->attend();
    nextAttendance = Clock::now() + attendanceInterval;
  }
}

}  // namespace

void BlockingWait::setAttendant(Attendant* attendant) {
  currentAttendant = attendant;
}

BlockingWait::Outcome BlockingWait::untilWritable(int fileDescriptor) {
  return wait(fileDescriptor, POLLOUT, std::nullopt);
}

BlockingWait::Outcome BlockingWait::untilReadable(int fileDescriptor) {
  return wait(fileDescriptor, POLLIN, std::nullopt);
}

BlockingWait::Outcome BlockingWait::untilReadable(int fileDescriptor, milliseconds atMost) {
  const Outcome outcome = wait(fileDescriptor, POLLIN, Clock::now() + atMost);
  return hasPassed(attendantDeadline()) ? outcome : Outcome::ready;
}

void BlockingWait::sleepFor(milliseconds duration) {
  static_cast<void>(wait(-1, 0, Clock::now() + duration));
}

void BlockingWait::glance() {
  if (currentAttendant && pollOnce(-1, 0, milliseconds{0}) == Event::attendance) {
    currentAttendant->attend();
  }
}

}  // namespace ztp
