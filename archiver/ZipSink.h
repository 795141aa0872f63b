// Where a new archive is written: a temporary file beside the archive's path, renamed once it is
// whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "archiver/FileDescriptor.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

/// Bytes in order, some of which may be overwritten later. Unless it was committed, the destructor
/// removes the temporary file; the path itself is untouched until then.
class ZipSink {
 public:
  /// Makes the temporary file. Throws ArchiveError, as all that follows.
  explicit ZipSink(std::filesystem::path zip);
  ZipSink(const ZipSink&) = delete;
  ZipSink& operator=(const ZipSink&) = delete;
  ~ZipSink();

  /// How many bytes there are.
  [[nodiscard]] std::uint64_t position() const { return flushed_ + buffer_.size(); }
  /// Appends.
  void write(Bytes bytes);
  /// Writes over bytes that are there, from `offset` on.
  void overwrite(std::uint64_t offset, Bytes bytes);
  /// Closes the file and puts it in its place.
  void commit();

 private:
  void flush();

  std::filesystem::path zip_;
  std::string temporary_;
  FileDescriptor file_;
  std::uint64_t flushed_ = 0;  // bytes that are in the file
  std::vector<std::uint8_t> buffer_;
};

}  // namespace ztp::archiver
