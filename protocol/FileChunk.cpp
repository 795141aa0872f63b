// Reading the file that is sent: the buffer is given, so that a large file costs no allocations.
#include "protocol/FileChunk.h"

#include <cerrno>

#include <unistd.h>

#include "platform/Error.h"

namespace ztp {

DataView readFileChunk(const FileHandle& file, Data& buffer) {
  buffer.resize(fileChunkSize);
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const ssize_t count =
        ::read(file.fileDescriptor(), buffer.data() + filled, buffer.size() - filled);
    if (count == 0) break;
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      throw PlatformException(Error::fromErrno("read"));
    }
  }
  return DataView(buffer).first(filled);
}

}  // namespace ztp
