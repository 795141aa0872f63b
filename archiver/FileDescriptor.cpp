// Descriptors that close themselves, and whole reads and writes.
#include "archiver/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace ztp::archiver {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    static_cast<void>(close());
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

FileDescriptor::~FileDescriptor() {
  static_cast<void>(close());
}

int FileDescriptor::close() {
  if (descriptor_ < 0) return 0;
  // An interrupted close has released the descriptor all the same.
  return ::close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR ? 0 : errno;
}

std::ptrdiff_t readFully(int descriptor, std::span<std::uint8_t> into) {
  std::size_t total = 0;
  while (total < into.size()) {
    const ssize_t count = ::read(descriptor, into.data() + total, into.size() - total);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    total += static_cast<std::size_t>(count);
  }
  return static_cast<std::ptrdiff_t>(total);
}

int writeFully(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace ztp::archiver
