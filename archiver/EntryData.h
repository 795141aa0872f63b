// The bytes of one entry, as they stand in the archive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "archiver/ArchiveBytes.h"

namespace ztp::archiver {

/// Reads them from the first to the last.
class EntryData {
 public:
  /// The `size` bytes behind the local header at `localOffset`, of which nothing but its length is
  /// believed. Throws ArchiveError where there is no such header. `archive` must outlive this.
  EntryData(const ArchiveBytes& archive, std::uint64_t localOffset, std::uint64_t size);

  /// Fills `into` with what comes next; returns how many bytes there are, 0 behind the last. Throws
  /// ArchiveError when the archive ends before.
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> into);

 private:
  const ArchiveBytes& archive_;
  std::uint64_t offset_;
  std::uint64_t left_;
};

}  // namespace ztp::archiver
