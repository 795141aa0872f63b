// Which of the records that look like an archive's end is its end, and where the central directory
// lies that it speaks of (the records: ZipFields.h).
//
// An attacker may write several, each with a directory of its own, so that one program checks other
// files than the next one unpacks. Readers differ in how they search: unzip, 7z, bsdtar and Python
// take the last record in the last 64 KiB, whatever its comment's length; Java wants the comment to
// end where the file ends; others try all records and weigh what they find. So:
//
// - The end is the last record. Its comment is whole, and nothing but zeros follows, as in an
//   archive that was padded like a tape.
// - The directory ends where the end records begin, to the byte: readers make up for a gap in
//   different ways. A Zip64 end lies right before its locator, and the old record, where its fields
//   are not full, says the same.
// - No record before it may pass for the end: none whose comment ends with the archive, and none in
//   the directory that leads to another directory.
//
// An archive that lies within an archive, stored, has an end record too, but its comment does not
// reach the end of the outer one: it is the data of an entry and no reader's end.
#pragma once

#include <cstdint>

#include "archiver/ArchiveBytes.h"
#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

/// The central directory as the end announces it.
struct DirectoryLocation {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;     ///< in bytes
  std::uint64_t entries = 0;  ///< modulo 65,536 where there is no Zip64 end: some programs write so
  bool isZip64 = false;

  /// Whether the end announces that many entries.
  [[nodiscard]] bool announces(std::uint64_t count) const;
};

/// Finds the archive's end and the directory. Throws ArchiveError when there is no end, when more
/// than one could be meant, when it names several disks, when it contradicts itself, and when it
/// announces more than `limits` allow.
[[nodiscard]] DirectoryLocation findDirectory(const ArchiveBytes& archive,
                                              const ExtractionLimits& limits);

}  // namespace ztp::archiver
