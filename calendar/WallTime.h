// WallTime: what a date formatter, which knows the time zone, hands to the printers of text, which
// do not. Not installed.
#pragma once

#include <cstdint>

namespace ztp {

/// What a pattern prints.
struct WallTime {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it; a day of the calendar.
  std::int64_t seconds = 0;
  /// [0:999999999] on top; only looked at by patterns with fractions.
  std::int64_t nanoseconds = 0;
  std::int32_t secondsFromGMT = 0;
};

}  // namespace ztp
