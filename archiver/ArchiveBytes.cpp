// pread(2) for a file, a copy for memory.
#include "archiver/ArchiveBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

ArchiveBytes::ArchiveBytes(const std::filesystem::path& zip)
    // A FIFO of that name must not keep anyone waiting.
    : file_(::open(zip.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status {};
  if (!file_ || ::fstat(file_.get(), &status) != 0) {
    throw systemError("cannot read " + quotedName(zip.native()), errno);
  }
  if (!S_ISREG(status.st_mode)) throw ArchiveError(quotedName(zip.native()) + " is not a file");
  size_ = static_cast<std::uint64_t>(status.st_size);
}

std::size_t ArchiveBytes::read(std::uint64_t offset, std::span<std::uint8_t> into) const {
  if (offset >= size_) return 0;
  into = into.first(static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), size_ - offset)));
  if (!file_) {
    std::copy_n(memory_.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
    return into.size();
  }
  std::size_t total = 0;
  while (total < into.size()) {
    const ssize_t count = ::pread(file_.get(), into.data() + total, into.size() - total,
                                  static_cast<off_t>(offset + total));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw systemError("cannot read the archive", errno);
    if (count == 0) break;
    total += static_cast<std::size_t>(count);
  }
  return total;
}

}  // namespace ztp::archiver
