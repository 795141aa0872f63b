// Stands in for platform/BlockingWait.cpp: nothing ever waits. What a write waits for is made room
// for at once, by taking what the session has sent so far.
#include "platform/BlockingWait.h"

#include "tests/inprocess/ServerPeer.h"

namespace ztp {

BlockingWait::Registration::Registration(InterruptHandler& /*handler*/) noexcept {}

BlockingWait::Registration::~Registration() = default;

std::optional<BlockingWait::Clock::time_point> BlockingWait::setDeadline(
    std::optional<Clock::time_point> /*deadline*/) {
  return std::nullopt;
}

std::optional<BlockingWait::Clock::time_point> BlockingWait::deadline() noexcept {
  return std::nullopt;
}

BlockingWait::Outcome BlockingWait::untilWritable(int /*fileDescriptor*/) {
  test::ServerPeer::takeAll();
  return Outcome::ready;
}

BlockingWait::Outcome BlockingWait::untilReadable(int /*fileDescriptor*/) {
  return Outcome::ready;
}

void BlockingWait::sleepFor(std::chrono::milliseconds /*duration*/) {
  test::ServerPeer::takeAll();
}

void BlockingWait::checkInterrupts() {}

}  // namespace ztp
