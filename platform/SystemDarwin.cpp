// What macOS provides.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/PropertyList.h"
#include "platform/System.h"

namespace ztp::system {

std::filesystem::path temporaryRoot() {
  std::vector<char> path(1024);
  const std::size_t size = ::confstr(_CS_DARWIN_USER_TEMP_DIR, path.data(), path.size());
  return size > 0 && size <= path.size() ? std::filesystem::path(path.data()) : "/tmp";
}

std::optional<std::string> productVersion() {
  const auto list = PropertyList::fromFile("/System/Library/CoreServices/SystemVersion.plist");
  return list ? list->string("ProductVersion") : std::nullopt;
}

std::filesystem::path archiverPath() {
  return "/usr/bin/ditto";
}

void disableCoreDumps() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
}

// There is no such promise here: a child whose pipes to us are gone ends at its next read or write.
void dieWithParent(int parent) noexcept {
  if (::getppid() != parent) ::_exit(127);
}

void closeOnExecAbove(int lastKept) noexcept {
  const int limit = ::getdtablesize();
  for (int fileDescriptor = lastKept + 1; fileDescriptor < limit; ++fileDescriptor) {
    ::fcntl(fileDescriptor, F_SETFD, FD_CLOEXEC);
  }
}

void enlargePipe(int /*fileDescriptor*/) noexcept {}

std::size_t bytesInPipe(int fileDescriptor) noexcept {
  int count = 0;
  return ::ioctl(fileDescriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

std::optional<std::size_t> copyInKernel(int /*source*/, int /*destination*/,
                                        std::size_t /*maximum*/) noexcept {
  errno = ENOTSUP;
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
