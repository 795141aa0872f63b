// Times as DOS wrote them: local, to two seconds, from 1980 to 2107.
//
//   time = hour << 11 | minute << 5 | second / 2        date = (year - 1980) << 9 | month << 5 |
//   day
#pragma once

#include <cstdint>

namespace ztp::archiver {

/// A zip header's two fields for one time.
struct DosTime {
  std::uint16_t time = 0;
  std::uint16_t date = 0;
};

/// The fields for `seconds` since 1970, in the local zone. What lies outside their years becomes
/// the first or the last time that they can tell.
[[nodiscard]] DosTime toDosTime(std::int64_t seconds);

/// Seconds since 1970 of a time in the local zone. Fields beyond their range (month 13) carry over.
[[nodiscard]] std::int64_t fromDosTime(DosTime time);

}  // namespace ztp::archiver
