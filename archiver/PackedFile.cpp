// libzip's protocol for a source, answered by a file that is deflated on the way.
#include "archiver/PackedFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/FileDescriptor.h"

namespace ztp::archiver {

namespace {

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mode == b.st_mode &&
         a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

PackedFile::PackedFile(TreeItem item, BlockPool& pool, CallbackFailure& failure)
    : item_(std::move(item)), pool_(pool), failure_(failure) {}

ZipSourceHandle PackedFile::source() {
  ZipSourceHandle source(zip_source_function_create(&PackedFile::call, this, failure_.error()));
  if (!source) throw zipError("cannot pack " + shown(item_.path.native()), failure_.error());
  return source;
}

zip_int64_t PackedFile::call(void* self, void* data, zip_uint64_t length,
                             zip_source_cmd_t command) {
  auto* file = static_cast<PackedFile*>(self);
  return file->failure_.guard([&] {
    return file->answer({static_cast<std::uint8_t*>(data), length}, command);
  });
}

zip_int64_t PackedFile::answer(std::span<std::uint8_t> data, zip_source_cmd_t command) {
  switch (command) {
    case ZIP_SOURCE_OPEN:
      return open(), 0;
    case ZIP_SOURCE_READ:
      return read(data);
    case ZIP_SOURCE_CLOSE:
      return deflate_.reset(), 0;
    case ZIP_SOURCE_STAT:
      return describe(data);
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(failure_.error(), data.data(), data.size());
    case ZIP_SOURCE_FREE:
      return 0;
    case ZIP_SOURCE_SUPPORTS:
      return ZIP_SOURCE_SUPPORTS_READABLE;
    default:
      throw ArchiveError("libzip asks for what a file cannot do");
  }
}

void PackedFile::open() {
  FileDescriptor file(::open(item_.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) throw systemError("cannot open " + shown(item_.path.native()), errno);
  checkUnchanged(file.get());
  crc_.reset();
  deflate_ = std::make_unique<ParallelDeflate>(
      std::move(file), static_cast<std::uint64_t>(item_.status.st_size), pool_);
}

zip_int64_t PackedFile::read(std::span<std::uint8_t> into) {
  try {
    const std::size_t count = deflate_->read(into);
    if (count == 0) {
      checkUnchanged(deflate_->file().get());
      crc_ = deflate_->crc();
    }
    return static_cast<zip_int64_t>(count);
  } catch (const ArchiveError& error) {
    throw ArchiveError(shown(item_.path.native()) + ": " + error.what());
  }
}

zip_int64_t PackedFile::describe(std::span<std::uint8_t> into) const {
  // libzip asks before it reads, to know whether Zip64 is needed, and afterwards for the checksum.
  zip_stat_t status;
  zip_stat_init(&status);
  status.valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_MTIME;
  status.size = static_cast<zip_uint64_t>(item_.status.st_size);
  status.comp_method = ZIP_CM_DEFLATE;
  status.mtime = item_.status.st_mtime;
  if (crc_) {
    status.valid |= ZIP_STAT_CRC;
    status.crc = *crc_;
  }
  if (into.size() < sizeof status) throw ArchiveError("libzip has no room for a file's status");
  std::memcpy(into.data(), &status, sizeof status);
  return sizeof status;
}

void PackedFile::checkUnchanged(int descriptor) const {
  struct stat now {};
  if (::fstat(descriptor, &now) != 0) throw systemError("fstat", errno);
  if (!isSameFile(item_.status, now)) {
    throw ArchiveError(shown(item_.path.native()) + " changed while it was packed");
  }
}

}  // namespace ztp::archiver
