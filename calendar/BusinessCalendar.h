// BusinessCalendar: which days are business days, of a market, of a program's own or of several
// together; counting them, stepping over them and moving dates onto them. The holidays of the three
// markets are those of ZDateUtilities::isDateHoliday.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calendar/Export.h"
#include "calendar/RecurringHoliday.h"
#include "calendar/SpecialClosings.h"
#include "calendar/Timestamp.h"
#include "calendar/ZHolidayType.h"

namespace ztp {

class BusinessDayTable;

/// Where a date goes that is not a business day.
enum class BusinessDayConvention {
  following,          ///< to the next business day
  modifiedFollowing,  ///< the same, but to the one before when that is in another month
  preceding,          ///< to the business day before
  modifiedPreceding,  ///< the same, but to the next when that is in another month
  unadjusted,         ///< nowhere
};

/// Whether the last business day of a month stays the last when months are added.
enum class EndOfMonth { ignored, kept };

/// What a calendar says of a day.
struct HolidayName {
  /// Holidays on a weekend count.
  bool isHoliday = false;
  /// The day is taken off for a holiday that fell on a weekend.
  bool inLieu = false;
  /// The holiday, also the one observed; empty without one. Lives as long as the process.
  std::string_view name;
};

/// A holiday on its day.
struct Holiday {
  Date date;
  bool inLieu = false;
  std::string_view name;
};

/// A day with a name of the program's choice.
struct NamedDate {
  Date date;
  std::string name;
};

/// What a calendar of a program's own is made of.
struct BusinessCalendarRules {
  /// Weekdays off, 1 (Sunday) to 7 (Saturday).
  std::vector<int> weekend = {1, 7};
  /// Where two fall on one day, the first named gives it its name.
  std::vector<RecurringHoliday> holidays = {};
  /// Days off besides.
  std::vector<NamedDate> closedDays = {};
  /// Business days whatever the others say.
  std::vector<Date> openDays = {};
};

/// The business days of the years 1900 to 2299. A value: copies share what was computed once, which
/// never changes, so copying is cheap and every copy may be used by any thread.
///
/// Dates are days in UTC (an instant is read as the day it falls on there; nothing is coerced and
/// nothing logged). Outside the years no day is a business day or a holiday, and what would have to
/// be there is absent.
///
///   const auto calendar = BusinessCalendar::market(ZHolidayType::ZHolidayTypeNYSE);
///   calendar.advance(trade, 2)                        // settlement, two business days on
///   calendar.adjust(due, BusinessDayConvention::modifiedFollowing)
///
/// `advance` is not the stepping of ZDateUtilities::dateFromDate, which skips the days off of the
/// caller's list and the US bank holidays, and counts a start as the first processing day only if
/// it is one. From a Saturday, one day on:
///   bank.advance(2020-07-11, 1)                             // Monday 2020-07-13, the next one
///   dateFromDate(2020-07-11, 1, "Saturday,Sunday", 1)       // Tuesday 2020-07-14: Monday counted
class ZANBURY_CALENDAR_API BusinessCalendar {
 public:
  static constexpr std::int32_t firstYear = 1900;
  static constexpr std::int32_t lastYear = 2299;

  // Making one ----------------------------------------------------------------------------------

  /// A market's: Saturdays, Sundays and its holidays. By default by today's rules in every year, as
  /// isDateHoliday has it; with its special closings as it was and is (SpecialClosings.h). A type
  /// that is not a calendar has no holidays. Made at the first call, a few milliseconds, and kept.
  [[nodiscard]] static BusinessCalendar market(
      ZHolidayType type, SpecialClosings specialClosings = SpecialClosings::excluded);

  /// One of the program's own. Throws std::invalid_argument for a weekday outside 1 to 7.
  [[nodiscard]] static BusinessCalendar custom(const BusinessCalendarRules& rules);

  /// Closed when any of them is: payments that need all. Without a calendar every day is open.
  [[nodiscard]] static BusinessCalendar closedWhenAny(
      const std::vector<BusinessCalendar>& calendars);
  /// Closed only when all of them are: trades that need one. Without a calendar every day is open.
  [[nodiscard]] static BusinessCalendar closedWhenAll(
      const std::vector<BusinessCalendar>& calendars);

  /// This calendar with more days off. A day that is a holiday already keeps its name; days outside
  /// the years are ignored.
  [[nodiscard]] BusinessCalendar withClosedDays(const std::vector<NamedDate>& days) const;
  /// This calendar with business days whatever it said of them.
  [[nodiscard]] BusinessCalendar withOpenDays(const std::vector<Date>& days) const;

  // Asking --------------------------------------------------------------------------------------

  /// Neither weekend nor holiday.
  [[nodiscard]] bool isBusinessDay(Date date) const;
  /// The holiday that the day is or that is observed on it. Of a joint calendar it is that of the
  /// first calendar that has one, on a day on which the joint one is closed.
  [[nodiscard]] HolidayName nameOfHoliday(Date date) const;
  /// The holidays from the first date on and before the second, those on weekends included.
  [[nodiscard]] std::vector<Holiday> holidays(Date from, Date before) const;
  /// How many business days there are from the first date on and before the second; as many, but
  /// negative, the other way round. Absent when a date lies outside the years.
  ///   bank.businessDays(2020-07-06, 2020-07-13)   // 5
  [[nodiscard]] std::optional<std::int64_t> businessDays(Date from, Date before) const;

  // Moving --------------------------------------------------------------------------------------

  /// The date itself when it is a business day, else where the convention moves it.
  [[nodiscard]] std::optional<Date> adjust(
      Date date, BusinessDayConvention convention = BusinessDayConvention::following) const;

  /// The date so many business days later, earlier when negative; the start itself never counts.
  /// 0 is the date adjusted to `following`. From a business day, businessDays is the way back.
  [[nodiscard]] std::optional<Date> advance(Date date, std::int64_t businessDays) const;

  /// The date so many months later (31 January plus one is the end of February), then adjusted.
  /// With EndOfMonth::kept a date on or after the last business day of its month goes to the last
  /// business day of the month arrived at, whatever the convention.
  [[nodiscard]] std::optional<Date> advanceMonths(
      Date date, std::int64_t months,
      BusinessDayConvention convention = BusinessDayConvention::following,
      EndOfMonth endOfMonth = EndOfMonth::ignored) const;

  /// The last business day of the date's month, or one before when the month has none.
  [[nodiscard]] std::optional<Date> lastBusinessDayOfMonth(Date date) const;
  /// Whether no business day comes after the date in its month.
  [[nodiscard]] bool isEndOfMonth(Date date) const;

 private:
  explicit BusinessCalendar(std::shared_ptr<const BusinessDayTable> table);
  static BusinessCalendar joined(const std::vector<BusinessCalendar>& calendars, bool whenAny);

  std::shared_ptr<const BusinessDayTable> table_;
};

}  // namespace ztp
