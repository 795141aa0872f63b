// RecurringHoliday: a holiday that comes once a year by a rule, for calendars of a program's own
// (BusinessCalendar.h). The three built-in markets have theirs in ZHolidayType.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "calendar/CivilDate.h"
#include "calendar/Export.h"

namespace ztp {

/// On which day a holiday is kept that falls on a weekend.
enum class Observance {
  never,           ///< on no other: it is lost
  following,       ///< on the next day that is neither weekend nor a holiday
  nearest,         ///< on the nearest day outside the weekend, the later of two as near: Saturday's
                   ///< on the Friday, Sunday's on the Monday. Lost when that is a holiday itself
  sundayToMonday,  ///< Sunday's on the Monday, Saturday's lost. Lost when that is a holiday itself
};

/// A rule and a name. A value that never changes; with... return changed copies.
///   RecurringHoliday::onDay("Assumption Day", 8, 15)
///   RecurringHoliday::onNthWeekday("Memorial Day", 5, -1, 2)          // the last Monday of May
///   RecurringHoliday::onWeekdayFrom("Midsummer Day", 6, 20, 7)        // Saturday of the 20th to
///   26th RecurringHoliday::fromEaster("Whit Monday", 50) RecurringHoliday::onDay("New Year's Day",
///   1, 1).withObservance(Observance::following)
class ZANBURY_CALENDAR_API RecurringHoliday {
 public:
  /// On one day of the year; 29 February comes in leap years only. Throws std::invalid_argument
  /// for a day that no year has.
  [[nodiscard]] static RecurringHoliday onDay(std::string_view name, int month, int day);
  /// On the nth weekday of a month; -1 is the last one, 5 comes only where there is a fifth.
  /// Weekdays are 1 (Sunday) to 7 (Saturday). Throws std::invalid_argument for other numbers.
  [[nodiscard]] static RecurringHoliday onNthWeekday(std::string_view name, int month, int nth,
                                                     int weekday);
  /// On the first such weekday on or after a day. Throws std::invalid_argument as both above.
  [[nodiscard]] static RecurringHoliday onWeekdayFrom(std::string_view name, int month, int day,
                                                      int weekday);
  /// So many days after Easter Sunday, before it when negative: Good Friday is -2. Throws
  /// std::invalid_argument for more than 100 either way.
  [[nodiscard]] static RecurringHoliday fromEaster(std::string_view name, int days);

  /// The same, observed otherwise; without it the observance is `never`.
  [[nodiscard]] RecurringHoliday withObservance(Observance observance) const;
  /// The same in these years alone, both included; without it in every year.
  [[nodiscard]] RecurringHoliday withYears(std::int32_t first, std::int32_t last) const;

  /// The name, which lives as long as the process: names are kept, each once.
  [[nodiscard]] std::string_view name() const { return name_; }
  [[nodiscard]] Observance observance() const { return observance_; }
  /// The day itself, weekend or not; absent when the year has none, and outside 1583 to 9999.
  [[nodiscard]] std::optional<CivilDate> dayInYear(std::int32_t year) const;

 private:
  enum class Kind { day, nthWeekday, weekdayFrom, fromEaster };

  RecurringHoliday(Kind kind, std::string_view name, int month, int day, int weekday);

  Kind kind_;
  std::string_view name_;
  int month_;
  int day_;  // of the month; the nth; or days from Easter
  int weekday_;
  Observance observance_ = Observance::never;
  std::int32_t firstYear_ = 1;
  std::int32_t lastYear_ = lastCalendarYear;
};

}  // namespace ztp
