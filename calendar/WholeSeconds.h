// WholeSeconds: from the double of a timestamp to the integers that all calendar arithmetic is done
// in. Installed for the inline functions of other headers; programs have no use for it.
#pragma once

#include <cstdint>
#include <optional>

#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"

namespace ztp {

inline constexpr std::int64_t secondsPerDay = 86'400;

/// The calendar's days with two days of room on either side for what a zone may shift.
inline constexpr std::int64_t earliestSecond = (std::int64_t{firstCalendarDay} - 2) * secondsPerDay;
inline constexpr std::int64_t latestSecond = (std::int64_t{lastCalendarDay} + 3) * secondsPerDay;

/// Seconds since the reference instant, the fraction cut off towards the past; absent beyond the
/// calendar's range and for what is not a number.
[[nodiscard]] constexpr std::optional<std::int64_t> wholeSeconds(Timestamp instant) {
  const double seconds = instant.secondsSinceReference();
  if (!(seconds >= static_cast<double>(earliestSecond) &&
        seconds < static_cast<double>(latestSecond))) {
    return std::nullopt;
  }
  const auto truncated = static_cast<std::int64_t>(seconds);
  return truncated - (static_cast<double>(truncated) > seconds ? 1 : 0);
}

/// A whole second as its day and the second [0:86399] within it.
struct DayAndSecond {
  std::int64_t day;
  std::int32_t second;
};

/// Takes any second between earliestSecond and latestSecond apart, a day of room included.
[[nodiscard]] constexpr DayAndSecond splitSeconds(std::int64_t seconds) {
  constexpr std::int64_t bias = 4 - std::int64_t{firstCalendarDay};
  const auto positive = static_cast<std::uint64_t>(seconds + bias * secondsPerDay);
  return {static_cast<std::int64_t>(positive / secondsPerDay) - bias,
          static_cast<std::int32_t>(positive % secondsPerDay)};
}

/// A time of day in seconds, which may be negative or more than a day; absent when one of the
/// numbers alone would lead out of the calendar.
[[nodiscard]] constexpr std::optional<std::int64_t> secondsOfTime(std::int64_t hour,
                                                                  std::int64_t minute,
                                                                  std::int64_t second) {
  constexpr std::int64_t limit = latestSecond - earliestSecond;
  const auto isWithin = [](std::int64_t count, std::int64_t unit) {
    return count >= -limit / unit && count <= limit / unit;
  };
  if (!isWithin(hour, 3600) || !isWithin(minute, 60) || !isWithin(second, 1)) return std::nullopt;
  return hour * 3600 + minute * 60 + second;
}

/// The second of the day at which a date stands.
inline constexpr std::int64_t noonSecond = 43'200;

/// Noon UTC of a day: the date of that day.
[[nodiscard]] constexpr Date dateOfDay(DayNumber day) {
  return Date(static_cast<double>(day * secondsPerDay + noonSecond));
}

/// The day in UTC on which an instant falls; absent beyond the calendar's range.
[[nodiscard]] constexpr std::optional<DayNumber> dayOfTimestamp(Timestamp instant) {
  const std::optional<std::int64_t> seconds = wholeSeconds(instant);
  if (!seconds) return std::nullopt;
  const std::int64_t day = splitSeconds(*seconds).day;
  if (!isCalendarDay(day)) return std::nullopt;
  return static_cast<DayNumber>(day);
}

}  // namespace ztp
