// A regular file as a source that libzip pulls: deflated while it is read, and watched for changes.
#pragma once

#include <zip.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "archiver/LibzipCallback.h"
#include "archiver/LibzipHandle.h"
#include "archiver/ParallelDeflate.h"
#include "archiver/TreeScan.h"

namespace ztp::archiver {

/// Must outlive the archive that its source is added to. The file is open only while libzip reads.
class PackedFile {
 public:
  /// `item` is a regular file that is not empty.
  PackedFile(TreeItem item, BlockPool& pool, CallbackFailure& failure);
  PackedFile(const PackedFile&) = delete;
  PackedFile& operator=(const PackedFile&) = delete;
  ~PackedFile() = default;

  /// The source to add. Its callbacks fail when the file is not what `item` says any more, or
  /// changes its size or its modification time while it is read.
  [[nodiscard]] ZipSourceHandle source();

 private:
  static zip_int64_t call(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command);
  [[nodiscard]] zip_int64_t answer(std::span<std::uint8_t> data, zip_source_cmd_t command);
  void open();
  [[nodiscard]] zip_int64_t read(std::span<std::uint8_t> into);
  [[nodiscard]] zip_int64_t describe(std::span<std::uint8_t> into) const;
  void checkUnchanged(int descriptor) const;

  TreeItem item_;
  BlockPool& pool_;
  CallbackFailure& failure_;
  std::unique_ptr<ParallelDeflate> deflate_;
  std::optional<std::uint32_t> crc_;
};

}  // namespace ztp::archiver
