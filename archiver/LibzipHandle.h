// libzip's objects as owned handles, and its errors as ArchiveErrors.
#pragma once

#include <zip.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

/// Forgets an archive without writing it.
struct ZipDiscard {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipHandle = std::unique_ptr<zip_t, ZipDiscard>;

/// Lets go of a source that no archive has taken over.
struct ZipSourceFree {
  void operator()(zip_source_t* source) const { zip_source_free(source); }
};
using ZipSourceHandle = std::unique_ptr<zip_source_t, ZipSourceFree>;

/// Ends the reading of one entry.
struct ZipFileClose {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using ZipFileHandle = std::unique_ptr<zip_file_t, ZipFileClose>;

/// An ArchiveError that ends in libzip's own reason.
[[nodiscard]] ArchiveError zipError(std::string_view what, zip_error_t* error);

/// A source that reads the file at `path`. Opening it is left to the first use.
[[nodiscard]] ZipSourceHandle fileSource(const std::filesystem::path& path);

/// A source that reads `bytes`, which must outlive it.
[[nodiscard]] ZipSourceHandle bufferSource(std::span<const std::uint8_t> bytes);

/// Opens an archive on `source`, which it takes over, with libzip's `flags`.
[[nodiscard]] ZipHandle openArchive(ZipSourceHandle source, int flags);

}  // namespace ztp::archiver
