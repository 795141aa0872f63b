// Preloaded into a program: its reads and writes move less than was asked for, and its calls are
// interrupted: a timer's signal breaks off those that wait, and a share of all calls gives EINTR
// before anything is done, as a signal that comes at the worst moment would.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "tests/faults/preload/Page.h"

namespace ztp::test {
namespace {

struct Layout {
  Cell shorten;       // in: 1 makes transfers shorter
  Cell refuse;        // in: n gives EINTR to one of n calls, on average; 0 to none
  Cell signalPeriod;  // in: microseconds from one signal to the next, 0 for none
  Cell shortened;     // out: transfers that were made shorter
  Cell refused;       // out: calls that were not even tried
  Cell interrupted;   // out: calls that a signal broke off
};

Layout& page() {
  static Layout* const layout = sharedPage<Layout>();
  return *layout;
}

// Good enough to be different each time (xorshift), and the same in every run.
std::size_t anyNumber() {
  thread_local std::size_t state = 88'172'645'463'325'252;
  state ^= state << 13U;
  state ^= state >> 7U;
  state ^= state << 17U;
  return state;
}

bool isRefused() {
  const auto one = static_cast<std::size_t>(page().refuse);
  if (one == 0 || anyNumber() % one != 0) return false;
  ++page().refused;
  errno = EINTR;
  return true;
}

// A quarter of the transfers is of one byte, the others of any length that was not asked for.
std::size_t shortened(std::size_t length) {
  if (page().shorten == 0 || length < 2) return length;
  ++page().shortened;
  return anyNumber() % 4 == 0 ? 1 : 1 + anyNumber() % (length - 1);
}

template <class... Arguments>
long call(long number, Arguments... arguments) {
  if (isRefused()) return -1;
  const long result = ::syscall(number, arguments...);
  if (result == -1 && errno == EINTR) ++page().interrupted;
  return result;
}

void doNothing(int /*signalNumber*/) {}

// Without SA_RESTART, so that the signal breaks off what waits.
[[gnu::constructor]] void startSignals() {
  const std::int64_t period = page().signalPeriod;
  if (period == 0) return;
  struct sigaction action {};
  action.sa_handler = doNothing;
  ::sigaction(SIGRTMAX, &action, nullptr);
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGRTMAX;
  timer_t timer{};
  if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) std::abort();
  const timespec interval{period / 1'000'000, period % 1'000'000 * 1'000};
  const itimerspec times{interval, interval};
  if (::timer_settime(timer, 0, &times, nullptr) != 0) std::abort();
}

}  // namespace
}  // namespace ztp::test

using ztp::test::call;
using ztp::test::shortened;

extern "C" {

ssize_t read(int file, void* bytes, std::size_t length) {
  return call(SYS_read, file, bytes, shortened(length));
}

ssize_t write(int file, const void* bytes, std::size_t length) {
  return call(SYS_write, file, bytes, shortened(length));
}

ssize_t pread(int file, void* bytes, std::size_t length, off_t offset) {
  return call(SYS_pread64, file, bytes, shortened(length), offset);
}

ssize_t pread64(int file, void* bytes, std::size_t length, off64_t offset) {
  return call(SYS_pread64, file, bytes, shortened(length), offset);
}

ssize_t pwrite(int file, const void* bytes, std::size_t length, off_t offset) {
  return call(SYS_pwrite64, file, bytes, shortened(length), offset);
}

ssize_t pwrite64(int file, const void* bytes, std::size_t length, off64_t offset) {
  return call(SYS_pwrite64, file, bytes, shortened(length), offset);
}

ssize_t copy_file_range(int source, off64_t* from, int destination, off64_t* to, std::size_t length,
                        unsigned flags) {
  return call(SYS_copy_file_range, source, from, destination, to, shortened(length), flags);
}

int fsync(int file) {
  return static_cast<int>(call(SYS_fsync, file));
}

int poll(pollfd* descriptors, nfds_t count, int timeout) {
  const timespec time{timeout / 1'000, timeout % 1'000 * 1'000'000L};
  return static_cast<int>(
      call(SYS_ppoll, descriptors, count, timeout < 0 ? nullptr : &time, nullptr, 0));
}

int epoll_pwait(int file, epoll_event* events, int maximum, int timeout, const sigset_t* mask) {
  return static_cast<int>(
      call(SYS_epoll_pwait, file, events, maximum, timeout, mask, std::size_t{_NSIG / 8}));
}

int epoll_wait(int file, epoll_event* events, int maximum, int timeout) {
  return epoll_pwait(file, events, maximum, timeout, nullptr);
}

int nanosleep(const timespec* time, timespec* remaining) {
  const bool untouched = ztp::test::isRefused();
  if (untouched && remaining != nullptr) *remaining = *time;
  if (untouched) return -1;
  return static_cast<int>(::syscall(SYS_nanosleep, time, remaining));
}

pid_t waitpid(pid_t process, int* status, int options) {
  return static_cast<pid_t>(call(SYS_wait4, process, status, options, nullptr));
}

}  // extern "C"
