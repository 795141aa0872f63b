// The entries of an archive that is to be unpacked, each checked before the first is written.
#pragma once

#include <zip.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "archiver/EntryName.h"
#include "archiver/ExtractionLimits.h"
#include "archiver/LibzipHandle.h"

namespace ztp::archiver {

/// What an entry becomes on disk.
enum class EntryKind { directory, file, link };

/// One entry whose claims are possible and which may be unpacked.
struct Entry {
  zip_uint64_t index = 0;
  EntryName name;
  EntryKind kind = EntryKind::file;
  bool isDeflated = false;  ///< else stored
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;                        ///< claimed; the data may differ
  std::uint32_t crc = 0;                         ///< claimed
  unsigned permissions = 0;                      ///< of the nine bits of a mode
  std::optional<std::int64_t> modificationTime;  ///< seconds since 1970
};

/// An archive opened for reading. Its entries come in the order of the archive.
class ZipDirectory {
 public:
  /// Throws ArchiveError when the archive is broken, goes beyond `limits`, or has an entry that is
  /// encrypted, compressed by anything but deflate, a device or another special file, a second one
  /// of its name, badly named, or larger than its compressed bytes can expand to.
  ZipDirectory(ZipSourceHandle source, const ExtractionLimits& limits);

  /// All entries, in the order of the archive.
  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

  /// What all entries together claim to expand to, in bytes.
  [[nodiscard]] std::uint64_t totalSize() const { return totalSize_; }

  /// Opens the entry's bytes as they stand in the archive.
  [[nodiscard]] ZipFileHandle openRaw(const Entry& entry);

 private:
  [[nodiscard]] Entry readEntry(zip_uint64_t index, const char* name);
  void readAttributes(Entry& entry);
  void readModificationTime(Entry& entry, const zip_stat_t& status);

  ZipHandle archive_;
  std::vector<Entry> entries_;
  std::uint64_t totalSize_ = 0;
};

}  // namespace ztp::archiver
