// A buffered temporary file.
#include "archiver/ZipSink.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <utility>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10U;

}  // namespace

ZipSink::ZipSink(std::filesystem::path zip) : zip_(std::move(zip)) {
  buffer_.reserve(bufferSize);
  std::string pattern = zip_.native() + ".XXXXXX";
  file_ = FileDescriptor(::mkostemp(pattern.data(), O_CLOEXEC));
  if (!file_) throw systemError("cannot write beside " + quotedName(zip_.native()), errno);
  temporary_ = std::move(pattern);
}

ZipSink::~ZipSink() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void ZipSink::write(Bytes bytes) {
  while (!bytes.empty()) {
    const std::size_t count = std::min(bytes.size(), bufferSize - buffer_.size());
    buffer_.insert(buffer_.end(), bytes.begin(),
                   bytes.begin() + static_cast<std::ptrdiff_t>(count));
    bytes = bytes.subspan(count);
    if (buffer_.size() == bufferSize) flush();
  }
}

void ZipSink::overwrite(std::uint64_t offset, Bytes bytes) {
  if (offset >= flushed_) {
    std::copy(bytes.begin(), bytes.end(),
              buffer_.begin() + static_cast<std::ptrdiff_t>(offset - flushed_));
    return;
  }
  flush();
  if (::lseek(file_.get(), static_cast<off_t>(offset), SEEK_SET) < 0) {
    throw systemError("cannot seek in " + quotedName(zip_.native()), errno);
  }
  const int error = writeFully(file_.get(), bytes);
  if (error != 0) throw systemError("cannot write " + quotedName(zip_.native()), error);
  if (::lseek(file_.get(), 0, SEEK_END) < 0) {
    throw systemError("cannot seek in " + quotedName(zip_.native()), errno);
  }
}

void ZipSink::commit() {
  flush();
  const int error = file_.close();
  if (error != 0) throw systemError("cannot write " + quotedName(zip_.native()), error);
  if (std::rename(temporary_.c_str(), zip_.c_str()) != 0) {
    throw systemError("cannot put " + quotedName(zip_.native()) + " in its place", errno);
  }
  temporary_.clear();
}

void ZipSink::flush() {
  const int error = writeFully(file_.get(), buffer_);
  if (error != 0) throw systemError("cannot write " + quotedName(zip_.native()), error);
  flushed_ += buffer_.size();
  buffer_.clear();
}

}  // namespace ztp::archiver
