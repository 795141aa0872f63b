// Preloaded into a program: its clocks jump, forwards or backwards, whenever the test says so, and
// the one it waits by can be held still and moved on by hand.
//
// The offset of the time of day is what an administrator or a time server changes. The offset of
// the monotonic clock is what nobody can change in earnest; it serves to show that the program
// really takes its time from here.
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/faults/preload/Page.h"

namespace ztp::test {
namespace {

struct Layout {
  Cell offset;           // in: seconds added to the time of day
  Cell monotonicOffset;  // in: seconds added to the monotonic clock
  Cell asked;            // out: how often the program has asked for the time of day
  Cell monotonicAsked;   // out: the same of the monotonic clock
  Cell monotonicHeldAt;  // in: what the monotonic clock shows, in milliseconds; 0: its own time
};

Layout& page() {
  static Layout* const layout = sharedPage<Layout>();
  return *layout;
}

bool isTimeOfDay(clockid_t clock) {
  return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
}

bool isMonotonic(clockid_t clock) {
  return clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_COARSE ||
         clock == CLOCK_MONOTONIC_RAW || clock == CLOCK_BOOTTIME;
}

std::int64_t offsetOf(clockid_t clock) {
  if (isTimeOfDay(clock)) {
    ++page().asked;
    return page().offset;
  }
  if (!isMonotonic(clock)) return 0;
  ++page().monotonicAsked;
  return page().monotonicOffset;
}

timespec shown(clockid_t clock, timespec time) {
  constexpr std::int64_t millisecondsPerSecond = 1'000;
  time.tv_sec += offsetOf(clock);
  const std::int64_t heldAt = isMonotonic(clock) ? page().monotonicHeldAt.load() : 0;
  if (heldAt == 0) return time;
  return {heldAt / millisecondsPerSecond, heldAt % millisecondsPerSecond * 1'000'000};
}

}  // namespace
}  // namespace ztp::test

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const long result = ::syscall(SYS_clock_gettime, clock, time);
  if (result == 0) *time = ztp::test::shown(clock, *time);
  return static_cast<int>(result);
}

int timespec_get(timespec* time, int base) noexcept {
  if (base != TIME_UTC) return 0;
  return clock_gettime(CLOCK_REALTIME, time) == 0 ? base : 0;
}

int gettimeofday(timeval* __restrict time, void* __restrict /*zone*/) noexcept {
  timespec precise{};
  if (clock_gettime(CLOCK_REALTIME, &precise) != 0) return -1;
  *time = {precise.tv_sec, precise.tv_nsec / 1'000};
  return 0;
}

time_t time(time_t* result) noexcept {
  timespec precise{};
  clock_gettime(CLOCK_REALTIME, &precise);
  if (result != nullptr) *result = precise.tv_sec;
  return precise.tv_sec;
}

}  // extern "C"
