// DateComponents: an instant or a wall-clock reading taken apart into its calendar fields.
#pragma once

#include <cstdint>
#include <optional>

#include "calendar/TimeZone.h"

namespace ztp {

/// Calendar fields. Taken from an instant they are in range and the fraction of a second is
/// dropped; handed to a Calendar they may have any value and are normalised (hour 25 is 1 o'clock
/// of the next day, month 13 is January of the next year).
struct DateComponents {
  std::int64_t year = 1;
  std::int64_t month = 1;   // [1:12] when taken from an instant
  std::int64_t day = 1;     // [1:31]
  std::int64_t hour = 0;    // [0:23]
  std::int64_t minute = 0;  // [0:59]
  std::int64_t second = 0;  // [0:59]
  /// The zone that the fields are read in; absent: that of the calendar they are handed to.
  std::optional<TimeZone> timeZone = std::nullopt;

  [[nodiscard]] friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

}  // namespace ztp
