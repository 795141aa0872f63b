// ClockReading and ClockFace: what passes between a date formatter, which knows the time zone, and
// the readers and printers of text, which do not. Not installed.
#pragma once

#include <cstdint>
#include <optional>

namespace ztp {

/// What a text says that was read by a pattern.
struct ClockReading {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it.
  std::int64_t seconds = 0;
  /// [0:1) seconds on top.
  double fraction = 0.0;
  /// Seconds east of GMT when the text names its offset.
  std::optional<std::int32_t> secondsFromGMT = std::nullopt;
};

/// What a pattern prints.
struct ClockFace {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it; a day of the calendar.
  std::int64_t seconds = 0;
  /// [0:999999999] on top; only looked at by patterns with fractions.
  std::int64_t nanoseconds = 0;
  std::int32_t secondsFromGMT = 0;
};

}  // namespace ztp
