// Packs a directory into a zip archive, for the upload to the conversion server.
#pragma once

#include <filesystem>

namespace ztp::archiver {

/// Packs `directory`, itself included as the top-level entry, into `zip`, which is replaced.
///
/// The archive (PKWARE's APPNOTE 6.3) has Unix modes, modification times in DOS and Unix form,
/// entries for directories, links as links, and Zip64 records where a number needs them. Names are
/// stored as they are, byte for byte, and marked as UTF-8 where they are. It is written beside
/// `zip` and renamed when it is whole. The peak memory does not depend on the size of the files.
/// Throws ArchiveError, and then `zip` is as it was: for what is not a directory, file or link, for
/// a file that changes while it is read, and for any failure of the system.
void createZip(const std::filesystem::path& directory, const std::filesystem::path& zip);

}  // namespace ztp::archiver
