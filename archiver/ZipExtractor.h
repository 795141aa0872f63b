// Unpacks a zip archive that came from a server which must not be trusted with the user's disk.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

/// Unpacks the archive at `zip` into `destination`, which is made if it is missing.
///
/// Everything that the archive says about its entries is checked before the first is written (see
/// ZipDirectory, EntryName, ExtractionLimits). Files appear under their names when they are whole
/// and their checksum is right, in place of files that had these names. Links are made last, so
/// that nothing is written through one. Modes are kept but for the set-id bits and the process's
/// file mode mask, times to the second. An archive inside the archive is a file like any other.
/// Throws ArchiveError at the first failure. The top-level items that this extraction made are gone
/// then (see ExtractionRollback): whoever started it may look for them instead of at a status.
void extractZip(const std::filesystem::path& zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits);

/// The same for an archive in memory.
void extractZip(std::span<const std::uint8_t> zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits);

}  // namespace ztp::archiver
