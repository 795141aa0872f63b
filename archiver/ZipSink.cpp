// libzip's protocol for a destination, answered by a buffered temporary file.
#include "archiver/ZipSink.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t kBufferSize = std::size_t{256} << 10U;

/// The status of a file that is empty: libzip begins a new archive on it.
zip_int64_t describeEmpty(std::span<std::uint8_t> into) {
  zip_stat_t status;
  zip_stat_init(&status);
  status.valid = ZIP_STAT_SIZE;
  if (into.size() < sizeof status)
    throw ArchiveError("libzip has no room for the archive's status");
  std::memcpy(into.data(), &status, sizeof status);
  return sizeof status;
}

}  // namespace

ZipSink::ZipSink(std::filesystem::path zip, CallbackFailure& failure)
    : zip_(std::move(zip)), failure_(failure) {
  buffer_.reserve(kBufferSize);
}

ZipSink::~ZipSink() {
  rollBack();
}

ZipSourceHandle ZipSink::source() {
  ZipSourceHandle source(zip_source_function_create(&ZipSink::call, this, failure_.error()));
  if (!source) throw zipError("cannot write " + shown(zip_.native()), failure_.error());
  return source;
}

zip_int64_t ZipSink::call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command) {
  auto* sink = static_cast<ZipSink*>(self);
  return sink->failure_.guard([&] {
    return sink->answer({static_cast<std::uint8_t*>(data), length}, command);
  });
}

zip_int64_t ZipSink::answer(std::span<std::uint8_t> data, zip_source_cmd_t command) {
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return ZIP_SOURCE_SUPPORTS_WRITABLE;
    case ZIP_SOURCE_STAT:
      return describeEmpty(data);
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(failure_.error(), data.data(), data.size());
    case ZIP_SOURCE_OPEN:
    case ZIP_SOURCE_READ:
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_SEEK:
    case ZIP_SOURCE_TELL:
    case ZIP_SOURCE_FREE:
      return 0;
    case ZIP_SOURCE_BEGIN_WRITE:
      return begin(), 0;
    case ZIP_SOURCE_WRITE:
      return write(data), static_cast<zip_int64_t>(data.size());
    case ZIP_SOURCE_SEEK_WRITE:
      return seek(data), 0;
    case ZIP_SOURCE_TELL_WRITE:
      return static_cast<zip_int64_t>(position());
    case ZIP_SOURCE_COMMIT_WRITE:
      return commit(), 0;
    case ZIP_SOURCE_ROLLBACK_WRITE:
      return rollBack(), 0;
    default:
      throw ArchiveError("libzip asks for what a new archive cannot do");
  }
}

void ZipSink::begin() {
  std::string pattern = zip_.native() + ".XXXXXX";
  file_ = FileDescriptor(::mkostemp(pattern.data(), O_CLOEXEC));
  if (!file_) throw systemError("cannot write beside " + shown(zip_.native()), errno);
  temporary_ = std::move(pattern);
}

void ZipSink::write(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::size_t count = std::min(bytes.size(), kBufferSize - buffer_.size());
    buffer_.insert(buffer_.end(), bytes.begin(),
                   bytes.begin() + static_cast<std::ptrdiff_t>(count));
    bytes = bytes.subspan(count);
    if (buffer_.size() == kBufferSize) flush();
  }
  end_ = std::max(end_, position());
}

void ZipSink::seek(std::span<std::uint8_t> arguments) {
  const zip_int64_t offset = zip_source_seek_compute_offset(position(), end_, arguments.data(),
                                                            arguments.size(), failure_.error());
  if (offset < 0) throw zipError("cannot seek in the new archive", failure_.error());
  flush();
  if (::lseek(file_.get(), offset, SEEK_SET) < 0) {
    throw systemError("cannot seek in the new archive", errno);
  }
  flushed_ = static_cast<std::uint64_t>(offset);
}

void ZipSink::flush() {
  const int error = writeFully(file_.get(), buffer_);
  if (error != 0) throw systemError("cannot write " + shown(zip_.native()), error);
  flushed_ += buffer_.size();
  buffer_.clear();
}

void ZipSink::commit() {
  flush();
  const int error = file_.close();
  if (error != 0) throw systemError("cannot write " + shown(zip_.native()), error);
  if (std::rename(temporary_.c_str(), zip_.c_str()) != 0) {
    throw systemError("cannot put " + shown(zip_.native()) + " in its place", errno);
  }
  temporary_.clear();
}

void ZipSink::rollBack() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace ztp::archiver
