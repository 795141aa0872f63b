// What every system provides. No call in it is Linux's own: that the program does its work with
// this body on Linux is the nearest thing to running it on a system that is not there.
#include "platform/System.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <uv.h>

#include "platform/SystemShared.h"

namespace ztp::system {
namespace {

constexpr timespec watchInterval{0, 100'000'000};

// One past the highest number that a descriptor can have.
int descriptorLimit() noexcept {
  constexpr long usual = 65'536;
  const long limit = ::sysconf(_SC_OPEN_MAX);
  return static_cast<int>(limit > 0 && limit <= INT_MAX ? limit : usual);
}

// Runs in a child of `child`: as long as that is so, the number is nobody else's. Only its parent
// is told of a process's end, so this one looks again and again. It holds no end of a pipe open.
[[noreturn]] void killWithParent(pid_t child, pid_t parent) noexcept {
  const int limit = descriptorLimit();
  for (int fileDescriptor = 0; fileDescriptor < limit; ++fileDescriptor) ::close(fileDescriptor);
  while (::getppid() == child) {
    if (::kill(parent, 0) != 0 && errno == ESRCH) {
      ::kill(child, SIGKILL);
      break;
    }
    ::nanosleep(&watchInterval, nullptr);
  }
  ::_exit(0);
}

}  // namespace

std::filesystem::path programPath() {
  std::array<char, PATH_MAX> path{};
  std::size_t size = path.size();
  if (::uv_exepath(path.data(), &size) != 0) return {};
  return std::string(path.data(), size);
}

void disableCoreDumps() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
}

void dieWithParent(int parent) noexcept {
  const pid_t child = ::getpid();
  if (::fork() == 0) killWithParent(child, parent);
  if (::getppid() != parent) ::_exit(127);
}

void closeOnExecAbove(int lastKept) noexcept {
  const int limit = descriptorLimit();
  for (int fileDescriptor = lastKept + 1; fileDescriptor < limit; ++fileDescriptor) {
    ::fcntl(fileDescriptor, F_SETFD, FD_CLOEXEC);
  }
}

void enlargePipe(int /*fileDescriptor*/) noexcept {}

std::optional<std::size_t> copyInKernel(int /*source*/, int /*destination*/,
                                        std::size_t /*maximum*/) noexcept {
  errno = ENOSYS;
  return std::nullopt;
}

// Access lists have no common form.
bool hasInheritedAttributes(int /*directory*/) noexcept {
  return true;
}

int searchOnlyFlag() noexcept {
#ifdef O_SEARCH
  return O_SEARCH;
#else
  return O_RDONLY;
#endif
}

bool exchangeNames(int /*directory*/, const char* /*name*/, const char* /*other*/) noexcept {
  errno = ENOSYS;
  return false;
}

}  // namespace ztp::system
