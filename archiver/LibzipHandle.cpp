// The few places where libzip's error objects are handled.
#include "archiver/LibzipHandle.h"

#include <string>

namespace ztp::archiver {

namespace {

/// An error object of libzip that is always released.
class ScopedZipError {
 public:
  ScopedZipError() { zip_error_init(&error_); }
  ScopedZipError(const ScopedZipError&) = delete;
  ScopedZipError& operator=(const ScopedZipError&) = delete;
  ~ScopedZipError() { zip_error_fini(&error_); }
  zip_error_t* get() { return &error_; }

 private:
  zip_error_t error_{};
};

}  // namespace

ArchiveError zipError(std::string_view what, zip_error_t* error) {
  return ArchiveError(std::string(what) + ": " + zip_error_strerror(error));
}

ZipSourceHandle fileSource(const std::filesystem::path& path) {
  ScopedZipError error;
  ZipSourceHandle source(zip_source_file_create(path.c_str(), 0, -1, error.get()));
  if (!source) throw zipError("cannot read " + shown(path.native()), error.get());
  return source;
}

ZipSourceHandle bufferSource(std::span<const std::uint8_t> bytes) {
  ScopedZipError error;
  ZipSourceHandle source(zip_source_buffer_create(bytes.data(), bytes.size(), 0, error.get()));
  if (!source) throw zipError("cannot read the archive", error.get());
  return source;
}

ZipHandle openArchive(ZipSourceHandle source, int flags) {
  ScopedZipError error;
  ZipHandle archive(zip_open_from_source(source.get(), flags, error.get()));
  if (!archive) throw zipError("cannot open the archive", error.get());
  static_cast<void>(source.release());
  return archive;
}

}  // namespace ztp::archiver
