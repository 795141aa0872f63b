// A regular file, deflated while it is read and watched for changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

#include "archiver/ParallelDeflate.h"
#include "archiver/TreeScan.h"

namespace ztp::archiver {

/// The content of one entry. The file is open as long as this lives.
class PackedFile {
 public:
  /// Opens the file at `path`, which is not empty. Throws ArchiveError, as all that follows, also
  /// when it is not the file of `identity` any more.
  PackedFile(std::filesystem::path path, const FileIdentity& identity, BlockPool& pool);

  /// Fills `into` with what comes next of the deflated bytes; returns how many there are, 0 at the
  /// end. Throws when the file was changed meanwhile.
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> into);

  /// CRC-32 of the file's bytes. Complete once `read` has returned 0.
  [[nodiscard]] std::uint32_t crc() const { return deflate_.crc(); }

 private:
  [[nodiscard]] FileDescriptor open() const;
  void checkUnchanged(int descriptor) const;

  std::filesystem::path path_;
  FileIdentity identity_;
  ParallelDeflate deflate_;
};

}  // namespace ztp::archiver
