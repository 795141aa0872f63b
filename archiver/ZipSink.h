// Where libzip writes a new archive: a temporary file beside the archive's path, renamed once it is
// whole. (libzip's own file source writes 8 KiB at a time, and in version 1.7.3 it closes a file
// twice when the disk fills up at the very end.)
#pragma once

#include <zip.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "archiver/FileDescriptor.h"
#include "archiver/LibzipCallback.h"
#include "archiver/LibzipHandle.h"

namespace ztp::archiver {

/// Must outlive the archive opened on its source. Unless the archive was written whole, its
/// destructor removes the temporary file; the path itself is untouched until then.
class ZipSink {
 public:
  ZipSink(std::filesystem::path zip, CallbackFailure& failure);
  ZipSink(const ZipSink&) = delete;
  ZipSink& operator=(const ZipSink&) = delete;
  ~ZipSink();

  /// The source to open the archive on, with ZIP_CREATE and ZIP_TRUNCATE.
  [[nodiscard]] ZipSourceHandle source();

 private:
  static zip_int64_t call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command);
  [[nodiscard]] zip_int64_t answer(std::span<std::uint8_t> data, zip_source_cmd_t command);
  void begin();
  void write(std::span<const std::uint8_t> bytes);
  void seek(std::span<std::uint8_t> arguments);
  void flush();
  void commit();
  void rollBack();
  [[nodiscard]] std::uint64_t position() const { return flushed_ + buffer_.size(); }

  std::filesystem::path zip_;
  CallbackFailure& failure_;
  std::string temporary_;
  FileDescriptor file_;
  std::uint64_t flushed_ = 0;  ///< offset in the file where the buffer goes
  std::uint64_t end_ = 0;      ///< size of the archive so far
  std::vector<std::uint8_t> buffer_;
};

}  // namespace ztp::archiver
