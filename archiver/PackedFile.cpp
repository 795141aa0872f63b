// Looks at the file before the first byte is read, and again behind the last.
#include "archiver/PackedFile.h"

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/FileDescriptor.h"

namespace ztp::archiver {

PackedFile::PackedFile(std::filesystem::path path, const FileIdentity& identity, BlockPool& pool)
    : path_(std::move(path)), identity_(identity), deflate_(open(), identity.size, pool) {}

std::size_t PackedFile::read(std::span<std::uint8_t> into) {
  std::size_t count = 0;
  try {
    count = deflate_.read(into);
  } catch (const ArchiveError& error) {
    throw ArchiveError(quotedName(path_.native()) + ": " + error.what());
  }
  if (count == 0) checkUnchanged(deflate_.file().get());
  return count;
}

FileDescriptor PackedFile::open() const {
  FileDescriptor file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) throw systemError("cannot open " + quotedName(path_.native()), errno);
  checkUnchanged(file.get());
  return file;
}

void PackedFile::checkUnchanged(int descriptor) const {
  if (!isUnchanged(descriptor, identity_)) {
    throw ArchiveError(quotedName(path_.native()) + " changed while it was packed");
  }
}

}  // namespace ztp::archiver
