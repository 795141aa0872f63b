// What Linux provides.
#include "platform/System.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/SystemShared.h"

namespace ztp::system {
namespace {

constexpr int wantedPipeCapacity = 1'048'576;

}  // namespace

std::filesystem::path programPath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

void disableCoreDumps() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  ::prctl(PR_SET_DUMPABLE, 0);
}

void dieWithParent(int parent) noexcept {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);
}

void closeOnExecAbove(int lastKept) noexcept {
  ::close_range(static_cast<unsigned>(lastKept) + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

void enlargePipe(int fileDescriptor) noexcept {
  ::fcntl(fileDescriptor, F_SETPIPE_SZ, wantedPipeCapacity);
}

std::optional<std::size_t> copyInKernel(int source, int destination, std::size_t maximum) noexcept {
  ssize_t copied = 0;
  do {
    copied = ::copy_file_range(source, nullptr, destination, nullptr, maximum, 0);
  } while (copied < 0 && errno == EINTR);
  if (copied < 0) return std::nullopt;
  return static_cast<std::size_t>(copied);
}

bool hasInheritedAttributes(int directory) noexcept {
  struct stat status {};
  if (::fstat(directory, &status) != 0 || (status.st_mode & S_ISGID) != 0) return true;
  // acl(5): the access list that new files start with.
  if (::fgetxattr(directory, "system.posix_acl_default", nullptr, 0) >= 0) return true;
  return errno != ENODATA && errno != ENOTSUP;
}

int searchOnlyFlag() noexcept {
  return O_PATH;
}

bool exchangeNames(int directory, const char* name, const char* other) noexcept {
  return ::renameat2(directory, name, directory, other, RENAME_EXCHANGE) == 0;
}

}  // namespace ztp::system
