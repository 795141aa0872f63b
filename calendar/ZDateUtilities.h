// ZDateUtilities: calendar days: construction, text forms, arithmetic, period boundaries, queries,
// holidays and processing days. ZTimestampUtilities.h is its companion for exact instants.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "calendar/Calendar.h"
#include "calendar/CivilDate.h"
#include "calendar/DateFormatter.h"
#include "calendar/Export.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZHolidayType.h"

namespace ztp {

/// A control that lets the user pick a date: it offers the instant picked and the zone it shows.
template <class Control>
concept DatePicker = requires(const Control& control) {
  { control.dateValue() } -> std::convertible_to<std::optional<Timestamp>>;
  { control.timeZone() } -> std::convertible_to<std::optional<TimeZone>>;
};

/// Class operations on dates; there are no instances.
///
/// A date is the instant 12:00:00 UTC of its day (Timestamp.h), and is read in UTC everywhere.
/// Weekdays are 1 (Sunday) to 7 (Saturday). The calendar has the years 1 to lastCalendarYear;
/// results beyond it are absent, and queries about an instant beyond it are 0.
///
/// Unless a declaration says otherwise, a method first coerces its dates (see
/// _dateByCoercingObjectToValidDate), and an absent date gives an absent result. A coercion logs a
/// line each time (ErrorHandler.h can take it), and its day is that of the user's zone, so that it
/// may differ from machine to machine: make dates with dateWithTimestamp, not by handing instants
/// in. Coerced are the arguments of the arithmetic, the boundaries and the queries; not coerced,
/// and read in UTC, those of the text forms, componentsFromDate, holidays and processing days
/// (though a US holiday of an instant on a Friday or Monday asks for period ends on the way, which
/// log). Queries assert: without their date they throw ParameterAssertion (ParameterAssertion.h)
/// with the file name "ZDateUtilities".
///
/// All may be called from any thread; setCurrentDateOverride and refreshCurrentDate change what all
/// threads see and are meant for the main thread and for tests.
class ZANBURY_CALENDAR_API ZDateUtilities {
 public:
  ZDateUtilities() = delete;

  // Well-known dates (ZDateConstruction.cpp) ----------------------------------------------------

  /// UTC, the zone of all dates.
  [[nodiscard]] static TimeZone dateTimeZone();
  /// 1 January of the year 1.
  [[nodiscard]] static Date distantPast();
  /// 1 January 4001.
  [[nodiscard]] static Date distantFuture();

  /// The override when one is set, else the day that it was in the user's zone when first asked.
  /// It is cached for the whole process: one that runs past midnight, or whose zone is changed,
  /// keeps the old day until refreshCurrentDate.
  [[nodiscard]] static Date currentDate();
  /// Forgets the cached current day, never the override, and returns currentDate.
  static Date refreshCurrentDate();
  /// Sets what currentDate returns, or with no date lets it follow the clock again.
  static void setCurrentDateOverride(std::optional<Date> date);
  /// The day before currentDate, and the day after it.
  [[nodiscard]] static std::optional<Date> yesterday();
  [[nodiscard]] static std::optional<Date> tomorrow();

  // Validity and construction (ZDateConstruction.cpp) -------------------------------------------

  /// Above 0.
  [[nodiscard]] static bool isValidYear(std::int64_t year);
  /// 1 to 12.
  [[nodiscard]] static bool isValidMonth(std::int64_t month);
  /// Whether year and month are valid and the month of that year has the day.
  ///   isValidDay(29, 2, 2100)   // false
  ///   isValidDay(29, 2, 2000)   // true
  [[nodiscard]] static bool isValidDay(std::int64_t day, std::int64_t forMonth, std::int64_t year);
  /// Whether the instant is noon UTC of some day; false without one. The calendar's range plays no
  /// part here.
  [[nodiscard]] static bool isObjectValidDate(std::optional<Timestamp> object);

  /// The date of the calendar day on which the instant falls in the zone (absent: the user's).
  [[nodiscard]] static std::optional<Date> dateWithTimestamp(std::optional<Timestamp> timestamp,
                                                             std::optional<TimeZone> timeZone);
  /// The day that the control shows.
  [[nodiscard]] static std::optional<Date> dateFromDatePicker(const DatePicker auto& control) {
    return dateWithTimestamp(control.dateValue(), control.timeZone());
  }
  /// The day that the text names in the formatter's zone.
  [[nodiscard]] static std::optional<Date> dateFromString(std::string_view string,
                                                          const DateFormatter& formatter);
  /// The date of a day; absent when a number is 0 or below. Months above 12 and days beyond the end
  /// of their month roll over.
  ///   dateWithYear(2020, 13, 1)   // 2021-01-01
  ///   dateWithYear(2020, 2, 30)   // 2020-03-01
  ///   dateWithYear(2020, 0, 1)    // none
  [[nodiscard]] static std::optional<Date> dateWithYear(std::int64_t year, std::int64_t month,
                                                        std::int64_t day);

  // Text forms (ZDateStrings.cpp) ---------------------------------------------------------------

  /// Year, month and day from the characters 0-3, 5-6 and 8-9, whatever stands between them and
  /// after; absent for less than 10 characters. Of each field its leading digits count, none is 0.
  ///   dateFromISO8601String("2019/03/15")   // 2019-03-15
  [[nodiscard]] static std::optional<Date> dateFromISO8601String(std::string_view string);
  /// "2019-03-15" (ISO 8601). Not coerced.
  [[nodiscard]] static std::optional<std::string> ISO8601StringFromDate(std::optional<Date> date);
  /// Year, month and day from the characters 0-3, 4-5 and 6-7 of an OFX date or date-time; time and
  /// zone are not looked at. Absent for less than 8 characters.
  [[nodiscard]] static std::optional<Date> dateFromOFXString(std::string_view string);
  /// Seconds east of GMT that the zone part of an OFX date-time says, 0 without one: "[-5:EST]" and
  /// "[-5]" by their whole hours, "[:EST]" by its abbreviation (0 when unknown). Throws
  /// std::out_of_range where a "[" stands without the ":" or "]" that ends its field, or with one
  /// that stands before it, or with less than three characters after "[:".
  [[nodiscard]] static std::int64_t timeZoneOffsetFromOFXTimeString(std::string_view string);
  /// "20190315"; "00000000" for no date. Not coerced.
  [[nodiscard]] static std::string OFXStringFromDate(std::optional<Date> date);
  /// Reads month/day/year, exactly three integers: "3/15/2019", " 3/+15/2019". Each may have blanks
  /// and a sign in front, and counts up to its first other character. Absent when one of them is 0
  /// or below. The year is taken as it stands: 19 is the year 19 (see
  /// yearByAdjustingYearIfNecessary).
  [[nodiscard]] static std::optional<Date> dateFromMonthDayYearString(std::string_view string);

  // Arithmetic (ZDateArithmetic.cpp) ------------------------------------------------------------

  /// The date so many years, months or days later. A day that the month arrived at does not have
  /// becomes its last: 31 January plus a month is 28 or 29 February.
  [[nodiscard]] static std::optional<Date> dateByAddingYears(std::int64_t years,
                                                             std::optional<Date> toDate);
  [[nodiscard]] static std::optional<Date> dateByAddingMonths(std::int64_t months,
                                                              std::optional<Date> toDate);
  [[nodiscard]] static std::optional<Date> dateByAddingDays(std::int64_t days,
                                                            std::optional<Date> toDate);

  /// The count times 86,400 seconds.
  [[nodiscard]] static double timeIntervalForNumberOfDays(std::int64_t days);

  /// Makes a year of two or three digits a full one, seen from the current year: two digits give
  /// the year of this century that ends so, but that of the last one when it is more than 30 years
  /// ahead, or ahead at all and future years are not allowed. A year ahead that is not allowed is
  /// cut to its last two digits first. Three digits give the year of this millennium that ends so,
  /// ahead or not; four and more stay as they are. With currentYear 2026:
  ///   19 -> 2019;  57 -> 1957;  126 -> 2126;  0 -> 2000
  ///   56 -> 2056, 2030 -> 2030 with future years;  1956 and 1930 without
  [[nodiscard]] static std::int64_t yearByAdjustingYearIfNecessary(std::int64_t year,
                                                                   std::int64_t currentYear,
                                                                   bool allowFutureYears);
  /// The date with its year adjusted so, against the year of currentDate; 29 February becomes
  /// 1 March in a year that has none.
  [[nodiscard]] static std::optional<Date> dateByAdjustingYearIfNecessary(std::optional<Date> date,
                                                                          bool allowFutureYears);

  // Period boundaries (ZDatePeriods.cpp) --------------------------------------------------------

  /// Sunday and Saturday of the date's week.
  [[nodiscard]] static std::optional<Date> firstDayOfWeekContainingDate(std::optional<Date> date);
  [[nodiscard]] static std::optional<Date> lastDayOfWeekContainingDate(std::optional<Date> date);
  /// Calendar quarters begin in January, April, July and October.
  [[nodiscard]] static std::optional<Date> firstDayOfQuarterContainingDate(
      std::optional<Date> date);
  [[nodiscard]] static std::optional<Date> lastDayOfQuarterContainingDate(std::optional<Date> date);
  /// The periods of United States estimated tax: January to March, April and May, June to August,
  /// September to December.
  [[nodiscard]] static std::optional<Date> firstDayOfTaxQuarterContainingDate(
      std::optional<Date> date);
  [[nodiscard]] static std::optional<Date> lastDayOfTaxQuarterContainingDate(
      std::optional<Date> date);
  [[nodiscard]] static std::optional<Date> firstDayOfMonthContainingDate(std::optional<Date> date);
  [[nodiscard]] static std::optional<Date> lastDayOfMonthContainingDate(std::optional<Date> date);
  /// The first and the last day of the date's month that is the given weekday; absent for a weekday
  /// outside 1 to 7.
  [[nodiscard]] static std::optional<Date> firstWeekDay(std::int64_t weekday,
                                                        std::optional<Date> ofMonthContainingDate);
  [[nodiscard]] static std::optional<Date> lastWeekDay(std::int64_t weekday,
                                                       std::optional<Date> ofMonthContainingDate);
  [[nodiscard]] static std::optional<Date> firstDayOfYearContainingDate(std::optional<Date> date);
  /// 1 January of the year; absent below 1.
  [[nodiscard]] static std::optional<Date> firstDayOfYearContainingYear(std::int64_t year);
  [[nodiscard]] static std::optional<Date> lastDayOfYearContainingDate(std::optional<Date> date);

  // Queries (ZDateQueries.cpp); the line of the assertion stands beside each --------------------

  /// Whole days from the first date to the second, negative when that is the earlier (line 1026).
  [[nodiscard]] static std::int64_t numberOfDaysFromDate(std::optional<Date> startDate,
                                                         std::optional<Date> toDate);
  /// 1 (Sunday) to 7 (Saturday) (line 1045).
  [[nodiscard]] static int dayOfWeekForDate(std::optional<Date> date);
  /// 1 for the first Monday, Tuesday ... of the month, up to 5 (line 1065). Not coerced.
  [[nodiscard]] static int nthWeekdayOfMonthForDate(std::optional<Date> date);
  /// 1 to 6; week 1 holds the first of the month (line 1088).
  [[nodiscard]] static int weekOfMonthForDate(std::optional<Date> date);
  /// 1 to 31 (line 1108).
  [[nodiscard]] static int dayOfMonthForDate(std::optional<Date> date);
  /// 28 to 31, of the date's month (line 1126).
  [[nodiscard]] static int lastDayOfMonthForDate(std::optional<Date> date);
  /// 1 to 12 (line 1144).
  [[nodiscard]] static int monthOfYearForDate(std::optional<Date> date);
  /// 1 to 366 (line 1162).
  [[nodiscard]] static int dayOfYearForDate(std::optional<Date> date);
  /// (line 1178)
  [[nodiscard]] static std::int64_t yearForDate(std::optional<Date> date);
  /// 1 to 53; week 1 holds 1 January, so the last days of December may lie in week 1 (line 1196).
  [[nodiscard]] static int weekOfYearForDate(std::optional<Date> date);
  /// Whether the instant falls on the date's day in the zone, the user's when absent (line 1216;
  /// asserts date and timestamp).
  [[nodiscard]] static bool dateContainsTimestamp(std::optional<Date> date,
                                                  std::optional<Timestamp> timestamp,
                                                  std::optional<TimeZone> timeZone);
  /// Year, month and day of the date. Not coerced.
  [[nodiscard]] static std::optional<CivilDate> componentsFromDate(std::optional<Date> date);

  // Holidays (ZDateHolidays.cpp); dates are not coerced -----------------------------------------

  /// Whether the date is a holiday of that calendar: an official one, or a weekday on which one
  /// that fell on the weekend is observed: a Sunday's on the Monday after; a Saturday's on the
  /// Friday before (NYSE), on the Monday after (TSE) or not at all (US bank); a TSE one on the
  /// Tuesday when the Monday is taken. The rules are today's for every year, but that Juneteenth
  /// begins in 2022; closings for an event are not known.
  ///
  /// The flag tells: it is set to true for an observed one, else to false; but for the TSE it is
  /// true on every Monday that is not an official holiday, also when the answer is false: look at
  /// it only beside the answer true. Without a date or a flag the answer is false for every day, an
  /// observed one included, and nothing is written: isNYSEHoliday and its neighbours ask without a
  /// flag.
  ///   2020-07-03, NYSE      // true, in lieu: 4 July was the Saturday after
  ///   2020-07-03, US bank   // false: Saturdays are not observed on Fridays
  ///   2021-12-31, NYSE      // false: it takes no last day of a month or year off in lieu
  ///   2022-12-27, TSE       // true, in lieu: Sunday the 25th, as Monday was Boxing Day
  [[nodiscard]] static bool isDateHoliday(std::optional<Date> date, ZHolidayType forHolidayType,
                                          bool* inLieuOfOfficial);
  /// The same for each calendar, without the flag. TSE is Toronto, not Tokyo.
  [[nodiscard]] static bool isUSBankHoliday(std::optional<Date> date);
  [[nodiscard]] static bool isNYSEHoliday(std::optional<Date> date);
  [[nodiscard]] static bool isTSEHoliday(std::optional<Date> date);
  /// Easter Sunday by the Gregorian rule (Meeus, Jones and Butcher); absent for a year below 1.
  ///   easterforYear(2024)   // 2024-03-31
  [[nodiscard]] static std::optional<Date> easterforYear(std::int64_t year);

  // Processing days (ZDateProcessingDays.cpp); dates are not coerced ----------------------------

  /// 1 (Sunday) to 7 (Saturday) for an English weekday name in any case, spaces ignored; 0 for
  /// any other text, abbreviations included.
  [[nodiscard]] static int dayOfWeekForName(std::string_view name);
  /// Saturday or Sunday; false without a date.
  [[nodiscard]] static bool isWeekend(std::optional<Date> date);
  /// Whether the date's weekday is not among the days off; false without a date. Holidays play no
  /// part.
  [[nodiscard]] static bool isProcessingDay(std::optional<Date> date, std::span<const int> daysOff);
  /// Steps by `adjustingBy` days from the date, which counts as the first when it is one itself,
  /// past `processingDays` processing days to the next: no day off and no US bank holiday. A count
  /// below 0 returns the date itself. Days off are full weekday names separated by commas; any
  /// other text is ignored, so that "Sat,Sun" takes no day off. The holidays are always those of US
  /// banks, and the start counts: BusinessCalendar has other markets and the usual way of counting.
  /// Absent when no processing day can ever be reached (all seven days off, or a step of 0 or of
  /// whole weeks from a day off) and when the steps leave the calendar's range.
  ///   (2020-07-06, 0, "Saturday,Sunday", 1)    // 2020-07-06
  ///   (2020-07-06, 1, "Saturday,Sunday", -1)   // 2020-07-03
  [[nodiscard]] static std::optional<Date> dateFromDate(std::optional<Date> date,
                                                        std::int64_t processingDays,
                                                        std::string_view processingDaysOff,
                                                        std::int64_t adjustingBy);

  // What the others stand on (ZDateConstruction.cpp) --------------------------------------------

  /// The calendar of dates: UTC.
  [[nodiscard]] static Calendar _dateCalendar();
  /// The instant itself when it is a date. Otherwise one line goes to standard error ("ERROR:
  /// Timestamp is not a valid date: %@") and the result is the day on which it falls in the user's
  /// zone; absent for no instant and beyond the calendar's range.
  [[nodiscard]] static std::optional<Date> _dateByCoercingObjectToValidDate(
      std::optional<Timestamp> object);

  /// The name under which this class reports assertions.
  static constexpr std::string_view className = "ZDateUtilities";
};

// Here, so that a caller's loop has them without a call.

inline std::optional<Date> ZDateUtilities::dateWithYear(std::int64_t year, std::int64_t month,
                                                        std::int64_t day) {
  const bool isPlain = civil_detail::isPlainGregorian(year, month, day);
  if (!isPlain && (year <= 0 || month <= 0 || day <= 0)) return std::nullopt;
  const std::optional<DayNumber> number = dayNumberRollingOver(year, month, day);
  if (!number) return std::nullopt;
  return dateOfDay(*number);
}

inline std::optional<CivilDate> ZDateUtilities::componentsFromDate(std::optional<Date> date) {
  const std::optional<DayNumber> day = date ? dayOfTimestamp(*date) : std::nullopt;
  if (!day) return std::nullopt;
  return civilDateFromDayNumber(*day);
}

}  // namespace ztp
