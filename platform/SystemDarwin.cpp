// What macOS provides.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <crt_externs.h>
#include <fcntl.h>
#include <sys/clonefile.h>
#include <sys/event.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/PropertyList.h"
#include "platform/System.h"

// As <sys/ptrace.h> declares it, a header that not every toolchain for macOS brings along.
extern "C" int ptrace(int request, pid_t process, char* address, int data);

namespace ztp::system {
namespace {

void refuseDebuggers() noexcept {
  constexpr int denyAttach = 31;  // PT_DENY_ATTACH
  ::ptrace(denyAttach, 0, nullptr, 0);
}

struct kevent exitOf(pid_t process) noexcept {
  struct kevent event {};
  event.ident = static_cast<std::uintptr_t>(process);
  event.filter = EVFILT_PROC;
  event.flags = EV_ADD;
  event.fflags = NOTE_EXIT;
  return event;
}

// Waits until one of the two processes has ended, which may have happened before.
bool isTheLongerLived(pid_t process, pid_t other) noexcept {
  const int queue = ::kqueue();
  const std::array<struct kevent, 2> wanted{exitOf(process), exitOf(other)};
  std::array<struct kevent, 2> ended{};
  int count = 0;
  do {
    // One that is gone already is an event too, an error (ESRCH).
    count = ::kevent(queue, wanted.data(), 2, ended.data(), 2, nullptr);
  } while (count < 0 && errno == EINTR);
  for (int index = 0; index < count; ++index) {
    if (ended[static_cast<std::size_t>(index)].ident == exitOf(process).ident) return false;
  }
  return count > 0;
}

// Runs in a child of `child`: as long as that is so, the number is nobody else's. It holds no end
// of a pipe open.
[[noreturn]] void killWithParent(pid_t child, pid_t parent) noexcept {
  refuseDebuggers();
  const int limit = ::getdtablesize();
  for (int fileDescriptor = 0; fileDescriptor < limit; ++fileDescriptor) ::close(fileDescriptor);
  if (isTheLongerLived(child, parent) && ::getppid() == child) ::kill(child, SIGKILL);
  ::_exit(0);
}

}  // namespace

std::filesystem::path temporaryRoot() {
  std::vector<char> path(1024);
  const std::size_t size = ::confstr(_CS_DARWIN_USER_TEMP_DIR, path.data(), path.size());
  return size > 0 && size <= path.size() ? std::filesystem::path(path.data()) : "/tmp";
}

std::optional<std::string> productVersion() {
  const auto list = PropertyList::fromFile("/System/Library/CoreServices/SystemVersion.plist");
  return list ? list->string("ProductVersion") : std::nullopt;
}

// Only programs, not libraries, could use the variable itself.
char** environment() noexcept {
  return *::_NSGetEnviron();
}

std::filesystem::path archiverPath() {
  return "/usr/bin/ditto";
}

void disableCoreDumps() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  refuseDebuggers();
}

void dieWithParent(int parent) noexcept {
  const pid_t child = ::getpid();
  if (::fork() == 0) killWithParent(child, parent);
  if (::getppid() != parent) ::_exit(127);
}

void closeOnExecAbove(int lastKept) noexcept {
  const int limit = ::getdtablesize();
  for (int fileDescriptor = lastKept + 1; fileDescriptor < limit; ++fileDescriptor) {
    ::fcntl(fileDescriptor, F_SETFD, FD_CLOEXEC);
  }
}

// A pipe grows there by itself, and no call makes it wider.
void enlargePipe(int /*fileDescriptor*/) noexcept {}

std::size_t bytesInPipe(int fileDescriptor) noexcept {
  int count = 0;
  return ::ioctl(fileDescriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

std::array<timespec, 2> timesOf(const struct stat& status) noexcept {
  return {status.st_atimespec, status.st_mtimespec};
}

// Without the owner of the source and its access list: the file is one that the program made.
bool cloneFile(int source, int directory, const char* name) noexcept {
  return ::fclonefileat(source, directory, name, CLONE_NOFOLLOW | CLONE_NOOWNERCOPY) == 0;
}

// fcopyfile(3) copies in the process too, all of a file at once and without asking in between.
std::optional<std::size_t> copyInKernel(int /*source*/, int /*destination*/,
                                        std::size_t /*maximum*/) noexcept {
  errno = ENOSYS;
  return std::nullopt;
}

// In every directory new files inherit its group.
bool hasInheritedAttributes(int /*directory*/) noexcept {
  return true;
}

int searchOnlyFlag() noexcept {
  return O_SEARCH;
}

bool exchangeNames(int directory, const char* name, const char* other) noexcept {
  return ::renameatx_np(directory, name, directory, other, RENAME_SWAP) == 0;
}

bool fillWithRandomBytes(void* memory, std::size_t size) noexcept {
  return ::getentropy(memory, size) == 0;
}

void keepOutOfFileCache(int fileDescriptor) noexcept {
  ::fcntl(fileDescriptor, F_NOCACHE, 1);
}

}  // namespace ztp::system
