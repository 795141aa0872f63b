// ICU's Gregorian calendar and formatter as a second opinion: plain numbers and text in and out, so
// that the sweeps need not speak ICU. Its switch from the Julian calendar is on 15 October 1582.
#pragma once

#include <unicode/calendar.h>
#include <unicode/smpdtfmt.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ztp::test {

/// What ICU reads at an instant. Weekdays are 1 (Sunday) to 7; weeks begin on Sunday and the first
/// week of a year or month is the one that holds its first day.
struct IcuFields {
  int year, month, day, hour, minute, second;
  int weekday, dayOfYear, weekOfYear, weekOfMonth, weekdayOrdinal;
};

/// A calendar in one IANA zone. Instants are seconds since 1970-01-01 00:00:00 UTC.
class IcuCalendar {
 public:
  /// Throws std::runtime_error when ICU does not know the zone.
  explicit IcuCalendar(const std::string& zone);

  [[nodiscard]] IcuFields fieldsAt(double instant);

  /// The instant of a wall-clock time; values out of range roll over. A skipped time is read with
  /// the offset before the gap, of a repeated one the first is taken.
  [[nodiscard]] double instantOf(int year, int month, int day, int hour, int minute, int second);

  /// The instant after adding to one field, the day clamped to the end of a shorter month.
  [[nodiscard]] double add(double instant, UCalendarDateFields field, int count);

  /// Whole days by the wall clock from one instant to another, negative when that is the earlier.
  [[nodiscard]] int daysBetween(double from, double to);

  /// Every change of the zone's offset with `from` <= instant < `until`.
  [[nodiscard]] std::vector<double> changesBetween(double from, double until) const;

 private:
  std::unique_ptr<icu::Calendar> calendar_;
};

/// A strict SimpleDateFormat with fixed English names.
class IcuFormatter {
 public:
  IcuFormatter(const std::string& pattern, const std::string& zone);

  [[nodiscard]] std::string format(double instant);

  /// Absent unless the whole text was read.
  [[nodiscard]] std::optional<double> parse(const std::string& text);

 private:
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

}  // namespace ztp::test
