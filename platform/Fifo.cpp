// Both systems let one process hold both ends.
#include "platform/Fifo.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/OpenFile.h"

namespace ztp {

int openFifo(const std::filesystem::path& path) noexcept {
  return openFile(path, O_RDWR | O_NONBLOCK);
}

bool isFifo(int fileDescriptor) noexcept {
  struct stat status {};
  return ::fstat(fileDescriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace ztp
