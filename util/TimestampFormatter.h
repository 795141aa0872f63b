// Instants as text, in the one form that dictionaries carry: 2024-03-05T17:04:09Z.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace ztp {

/// An instant on the system's clock, in seconds and fractions; any system_clock time point converts
/// to it.
using Instant = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// Formats and parses "yyyy-MM-dd'T'HH:mm:ss'Z'" (the patterns of Unicode UTS #35) in UTC, whatever
/// the machine's zone and locale are. The calendar is Gregorian, and Julian before 15 October 1582.
class TimestampFormatter {
 public:
  /// Fractions of a second are dropped (towards the past). A year before 1 shows its number within
  /// its era. Empty for an instant that is not a number or more than 1,000,000 years from 1970.
  [[nodiscard]] std::string stringFromDate(Instant date) const;

  /// The instant that a text in exactly that form names: 20 characters, every field in range, a day
  /// that the calendar has, a year from 1. Absent for any other text.
  [[nodiscard]] std::optional<Instant> dateFromString(std::string_view text) const;
};

}  // namespace ztp
