// The bytes of an archive that is read, wherever they lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

#include "archiver/FileDescriptor.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

/// A file or a stretch of memory, read at any offset.
class ArchiveBytes {
 public:
  /// Opens the regular file at `zip`. Throws ArchiveError.
  explicit ArchiveBytes(const std::filesystem::path& zip);
  /// Reads `bytes`, which must outlive this.
  explicit ArchiveBytes(Bytes bytes) : memory_(bytes), size_(bytes.size()) {}

  /// Bytes in all.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// Fills `into` with the bytes at `offset`; returns how many there are, fewer than asked for
  /// where the archive ends. Throws ArchiveError when the file cannot be read.
  [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const;

 private:
  FileDescriptor file_;
  Bytes memory_;
  std::uint64_t size_ = 0;
};

}  // namespace ztp::archiver
