// A signal may interrupt open(2) where it waits: on a FIFO, or on a file system across the network.
#include "platform/OpenFile.h"

#include <cerrno>

#include <fcntl.h>

namespace ztp {

int openFile(const std::filesystem::path& path, int flags, unsigned mode) noexcept {
  return openFileAt(AT_FDCWD, path, flags, mode);
}

int openFileAt(int directory, const std::filesystem::path& path, int flags,
               unsigned mode) noexcept {
  int fileDescriptor = -1;
  do {
    fileDescriptor = ::openat(directory, path.c_str(), flags | O_CLOEXEC, mode);
  } while (fileDescriptor < 0 && errno == EINTR);
  return fileDescriptor;
}

}  // namespace ztp
