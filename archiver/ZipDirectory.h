// The entries of an archive that is to be unpacked, each checked before the first is written.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "archiver/ArchiveBytes.h"
#include "archiver/CentralDirectory.h"
#include "archiver/EntryData.h"
#include "archiver/EntryName.h"
#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

/// What an entry becomes on disk.
enum class EntryKind { directory, file, link };

/// One entry whose claims are possible and which may be unpacked.
struct Entry {
  EntryName name;
  EntryKind kind = EntryKind::file;
  bool isDeflated = false;        ///< else stored
  unsigned permissions = 0;       ///< of the nine bits of a mode
  std::uint32_t crc = 0;          ///< claimed
  std::uint64_t localOffset = 0;  ///< claimed
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;             ///< claimed; the data may differ
  std::int64_t modificationTime = 0;  ///< seconds since 1970
};

/// An archive opened for reading.
class ZipDirectory {
 public:
  /// Throws ArchiveError when the archive is broken, goes beyond `limits`, or has an entry that is
  /// encrypted, compressed by anything but deflate, a device or another special file, a second one
  /// of its name, badly named, or larger than its compressed bytes can expand to. Time and memory
  /// grow with the length of the directory, and with nothing that it says.
  ZipDirectory(ArchiveBytes archive, const ExtractionLimits& limits);

  /// All entries, each directory right before what lies in it.
  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

  /// What all entries together claim to expand to, in bytes.
  [[nodiscard]] std::uint64_t totalSize() const { return totalSize_; }

  /// How many files, links and directories unpacking makes, with those that names imply.
  [[nodiscard]] std::uint64_t items() const { return items_; }

  /// Opens the entry's bytes as they stand in the archive, for as long as this stays.
  [[nodiscard]] EntryData open(const Entry& entry) const;

 private:
  void readEntries(const DirectoryLocation& location, const ExtractionLimits& limits);
  void countItems(const ExtractionLimits& limits);

  ArchiveBytes archive_;
  std::vector<Entry> entries_;
  std::uint64_t totalSize_ = 0;
  std::uint64_t items_ = 0;
};

}  // namespace ztp::archiver
