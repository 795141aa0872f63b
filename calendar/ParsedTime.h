// ParsedTime: what the readers of text, which do not know the time zone, hand to a date formatter,
// which does. Not installed.
#pragma once

#include <cstdint>
#include <optional>

namespace ztp {

/// What a text says that was read by a pattern.
struct ParsedTime {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it.
  std::int64_t seconds = 0;
  /// [0:1) seconds on top.
  double fraction = 0.0;
  /// Seconds east of GMT when the text names its offset.
  std::optional<std::int32_t> secondsFromGMT = std::nullopt;
};

}  // namespace ztp
