// Fields of a zip entry that libzip carries but does not read: the Unix mode in the external
// attributes, and Info-ZIP's extended timestamp (APPNOTE 4.5.3, 4.4.15; header ID 0x5455).
//
//   external attributes = mode << 16 | DOS attributes
//   timestamp field     = flags(1) [mtime(4)] [atime(4)] [ctime(4)]   little-endian; bit 0: mtime
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace ztp::archiver {

inline constexpr unsigned kUnixModeShift = 16;
inline constexpr std::uint32_t kDosDirectory = 0x10;

inline constexpr std::uint16_t kUnixTimeId = 0x5455;
inline constexpr std::int64_t kLatestUnixTime = 0x7FFFFFFF;  ///< seconds since 1970
inline constexpr std::uint8_t kHasModificationTime = 1;

/// The timestamp field with a modification time alone, as both headers of an entry hold it.
using UnixTimeField = std::array<std::uint8_t, 5>;

/// The field for `seconds` since 1970, kLatestUnixTime at most.
[[nodiscard]] constexpr UnixTimeField unixTimeField(std::uint32_t seconds) {
  UnixTimeField field = {kHasModificationTime};
  for (unsigned i = 0; i < 4; ++i) field[1 + i] = static_cast<std::uint8_t>(seconds >> (8 * i));
  return field;
}

/// The modification time of a timestamp field, in seconds since 1970 (negative before). Absent
/// where the field has none.
[[nodiscard]] constexpr std::optional<std::int64_t> modificationTime(
    std::span<const std::uint8_t> field) {
  if (field.size() < 5 || (field[0] & kHasModificationTime) == 0) return std::nullopt;
  std::uint32_t seconds = 0;
  for (unsigned i = 0; i < 4; ++i) seconds |= std::uint32_t{field[1 + i]} << (8 * i);
  return static_cast<std::int32_t>(seconds);
}

}  // namespace ztp::archiver
