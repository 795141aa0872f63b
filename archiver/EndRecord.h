// The end of a zip archive, looked at before libzip is let near it: libzip takes the counts that
// stand there for granted, and tries every record in the last 64 KiB that looks like an end.
//
//   end record   = "PK\5\6" disk(2) disk(2) entries(2) entries(2) size(4) offset(4) comment
//   comment      = length(2) text
//   Zip64        = end64 ... locator end record
//   locator      = "PK\6\7" disk(4) offset of end64(8) disks(4)
//   end64        = "PK\6\6" size(8) version(4) disk(4) disk(4) entries(8) entries(8) size(8)
//   offset(8)
#pragma once

#include <zip.h>

#include <cstdint>

#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

/// Checks the end of the archive that `source` reads, and gives the archive's size in bytes. Throws
/// ArchiveError when there is no end record, when more than one could be meant, and when it
/// announces more than `limits` allow.
[[nodiscard]] std::uint64_t checkEndRecord(zip_source_t* source, const ExtractionLimits& limits);

}  // namespace ztp::archiver
