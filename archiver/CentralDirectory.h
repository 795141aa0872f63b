// Reads the headers of a central directory one after the other, in little memory and in a time that
// its length bounds. What they say is handed on as it is: ZipDirectory judges it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archiver/ArchiveBytes.h"
#include "archiver/DosTime.h"
#include "archiver/EndRecord.h"

namespace ztp::archiver {

/// What the central header of one entry says (ZipFields.h), the values of its Zip64 field included.
struct CentralHeader {
  std::string
      name;  ///< its bytes, whatever their encoding; in UTF-8 where a path field tells it so
  unsigned system = 0;  ///< on which it was made
  unsigned flags = 0;
  unsigned method = 0;
  DosTime dosTime;
  std::uint32_t crc = 0;
  std::uint32_t attributes = 0;
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;
  std::uint64_t localOffset = 0;
  std::optional<std::int64_t> unixTime;  ///< seconds since 1970
};

/// The headers of one directory, in its order.
class CentralDirectory {
 public:
  /// `archive` must outlive this.
  CentralDirectory(const ArchiveBytes& archive, const DirectoryLocation& location);

  /// The next header, none behind the last. Throws ArchiveError when the directory is broken.
  [[nodiscard]] std::optional<CentralHeader> next();

 private:
  [[nodiscard]] Bytes take(std::size_t count);
  void fill(std::size_t count);

  const ArchiveBytes& archive_;
  std::uint64_t offset_;  // of what has not been read from the archive
  std::uint64_t left_;    // bytes of it
  std::vector<std::uint8_t> buffer_;
  Bytes unread_;  // of the buffer
};

}  // namespace ztp::archiver
