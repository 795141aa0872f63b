// The records of a zip archive (PKWARE's APPNOTE 6.3) as far as reading and writing share them, and
// the little-endian numbers that they are made of.
//
//   archive   = *( local header, data ), *central header, [end64, locator], end record
//   local     = "PK\3\4" version(2) flags(2) method(2) time(2) date(2) crc(4) packed size(4)
//   size(4)
//               name length(2) extra length(2) name extra
//   central   = "PK\1\2" made by(2) version(2) flags(2) method(2) time(2) date(2) crc(4)
//               packed size(4) size(4) name length(2) extra length(2) comment length(2) disk(2)
//               internal attributes(2) external attributes(4) offset of local(4) name extra comment
//   end64     = "PK\6\6" size of what follows(8) made by(2) version(2) disk(4) disk(4) entries(8)
//               entries(8) size of directory(8) offset of directory(8)
//   locator   = "PK\6\7" disk(4) offset of end64(8) disks(4)
//   end       = "PK\5\6" disk(2) disk(2) entries(2) entries(2) size of directory(4)
//               offset of directory(4) comment length(2) comment
//   extra     = *( id(2) length(2) bytes )
//   Zip64     = id 1: [size(8)] [packed size(8)] [offset(8)] [disk(4)], each where its field is
//   full timestamp = id 0x5455: flags(1) [mtime(4)] [atime(4)] [ctime(4)]; bit 0: mtime (Info-ZIP)
//   path      = id 0x7075: 1(1) crc of name(4) name in UTF-8 (Info-ZIP)
//   external attributes = mode << 16 | DOS attributes
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

namespace ztp::archiver {

using Bytes = std::span<const std::uint8_t>;

inline constexpr std::string_view localMagic = "PK\3\4";
inline constexpr std::string_view centralMagic = "PK\1\2";
inline constexpr std::string_view end64Magic = "PK\6\6";
inline constexpr std::string_view locatorMagic = "PK\6\7";
inline constexpr std::string_view endMagic = "PK\5\6";

// Sizes without names, extra fields and comments.
inline constexpr std::size_t localSize = 30;
inline constexpr std::size_t centralSize = 46;
inline constexpr std::size_t end64Size = 56;
inline constexpr std::size_t locatorSize = 20;
inline constexpr std::size_t endSize = 22;
/// The size that an end64 tells of itself does not count its magic and the size.
inline constexpr std::size_t end64Uncounted = 12;

/// What a field holds whose value stands in a Zip64 record.
inline constexpr std::uint64_t full16 = std::numeric_limits<std::uint16_t>::max();
inline constexpr std::uint64_t full32 = std::numeric_limits<std::uint32_t>::max();

inline constexpr std::uint16_t flagEncrypted = 0x1;
inline constexpr std::uint16_t flagUtf8 = 0x800;
inline constexpr std::uint16_t methodStored = 0;
inline constexpr std::uint16_t methodDeflated = 8;

inline constexpr unsigned systemUnix = 3;
inline constexpr unsigned systemMac = 19;
inline constexpr unsigned unixModeShift = 16;
inline constexpr std::uint32_t dosDirectory = 0x10;

inline constexpr std::uint16_t zip64Id = 0x0001;
inline constexpr std::uint16_t unixTimeId = 0x5455;
inline constexpr std::uint16_t unicodePathId = 0x7075;

inline constexpr std::int64_t latestUnixTime = 0x7FFFFFFF;  ///< seconds since 1970
inline constexpr std::uint8_t hasModificationTime = 1;

/// The number of `width` bytes at `offset`, which `bytes` must have.
[[nodiscard]] constexpr std::uint64_t numberAt(Bytes bytes, std::size_t offset, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i) value = value << 8U | bytes[offset + i - 1];
  return value;
}

/// Whether `bytes` have `magic` at `offset`. They may end before it.
[[nodiscard]] constexpr bool hasMagic(Bytes bytes, std::size_t offset, std::string_view magic) {
  if (offset > bytes.size() || bytes.size() - offset < magic.size()) return false;
  for (std::size_t i = 0; i < magic.size(); ++i) {
    if (bytes[offset + i] != static_cast<std::uint8_t>(magic[i])) return false;
  }
  return true;
}

/// The timestamp field with a modification time alone, as both headers of an entry hold it.
using UnixTimeField = std::array<std::uint8_t, 5>;

/// The field for `seconds` since 1970, latestUnixTime at most.
[[nodiscard]] constexpr UnixTimeField unixTimeField(std::uint32_t seconds) {
  UnixTimeField field = {hasModificationTime};
  for (unsigned i = 0; i < 4; ++i) field[1 + i] = static_cast<std::uint8_t>(seconds >> (8 * i));
  return field;
}

/// The modification time of a timestamp field, in seconds since 1970 (negative before). Absent
/// where the field has none.
[[nodiscard]] constexpr std::optional<std::int64_t> modificationTime(Bytes field) {
  if (field.size() < 5 || (field[0] & hasModificationTime) == 0) return std::nullopt;
  return static_cast<std::int32_t>(numberAt(field, 1, 4));
}

}  // namespace ztp::archiver
