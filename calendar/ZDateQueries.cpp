// ZDateUtilities: questions about one date. Each asserts that it was given one, then coerces it.
#include "calendar/ZDateUtilities.h"

#include "calendar/ParameterAssertion.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp {

namespace {

constexpr std::string_view dateCondition = "inDate != nil";

[[noreturn]] void failAssertion(int line, std::string_view condition) {
  throw ParameterAssertion(ZDateUtilities::className, line, condition);
}

// The date of a query, asserted and coerced, as a day of the calendar; absent beyond its range.
std::optional<DayNumber> queriedDay(std::optional<Date> date, int line) {
  if (!date) failAssertion(line, dateCondition);
  const std::optional<Date> coerced = ZDateUtilities::_dateByCoercingObjectToValidDate(date);
  return coerced ? dayOfTimestamp(*coerced) : std::nullopt;
}

// The same taken apart; all zeros beyond the calendar's range.
CivilDate queriedDate(std::optional<Date> date, int line) {
  const std::optional<DayNumber> day = queriedDay(date, line);
  return day ? civilDateFromDayNumber(*day) : CivilDate{0, 0, 0};
}

// The week, from 1, that a day lies in, when week 1 holds the first day of the period.
int weekSince(DayNumber firstOfPeriod, DayNumber day) {
  const DayNumber sundayOfWeekOne = firstOfPeriod - (weekdayFromDayNumber(firstOfPeriod) - 1);
  return (day - sundayOfWeekOne) / 7 + 1;
}

}  // namespace

std::int64_t ZDateUtilities::numberOfDaysFromDate(std::optional<Date> startDate,
                                                  std::optional<Date> toDate) {
  if (!startDate || !toDate) failAssertion(1026, "inStartDate != nil && inEndDate != nil");
  const std::optional<Date> start = _dateByCoercingObjectToValidDate(startDate);
  const std::optional<Date> end = _dateByCoercingObjectToValidDate(toDate);
  const std::optional<DayNumber> from = start ? dayOfTimestamp(*start) : std::nullopt;
  const std::optional<DayNumber> to = end ? dayOfTimestamp(*end) : std::nullopt;
  return from && to ? std::int64_t{*to} - *from : 0;
}

int ZDateUtilities::dayOfWeekForDate(std::optional<Date> date) {
  const std::optional<DayNumber> day = queriedDay(date, 1045);
  return day ? weekdayFromDayNumber(*day) : 0;
}

int ZDateUtilities::nthWeekdayOfMonthForDate(std::optional<Date> date) {
  if (!date) failAssertion(1065, dateCondition);
  const int weekday = dayOfWeekForDate(date);
  const std::optional<CivilDate> fields = componentsFromDate(date);
  if (weekday == 0 || !fields) return 0;
  const DayNumber firstOfMonth = dayNumberFromCivilDate({fields->year, fields->month, 1});
  const int daysToFirst = (weekday - weekdayFromDayNumber(firstOfMonth) + 7) % 7;
  const std::int64_t midnight = (std::int64_t{firstOfMonth} + daysToFirst) * secondsPerDay;
  const double elapsed = date->secondsSinceReference() - static_cast<double>(midnight);
  return static_cast<int>(elapsed / timeIntervalForNumberOfDays(7)) + 1;
}

int ZDateUtilities::weekOfMonthForDate(std::optional<Date> date) {
  const std::optional<DayNumber> day = queriedDay(date, 1088);
  if (!day) return 0;
  const CivilDate fields = civilDateFromDayNumber(*day);
  return weekSince(dayNumberFromCivilDate({fields.year, fields.month, 1}), *day);
}

int ZDateUtilities::dayOfMonthForDate(std::optional<Date> date) {
  return queriedDate(date, 1108).day;
}

int ZDateUtilities::lastDayOfMonthForDate(std::optional<Date> date) {
  const CivilDate fields = queriedDate(date, 1126);
  return fields.month == 0 ? 0 : lastDayOfMonth(fields.year, fields.month);
}

int ZDateUtilities::monthOfYearForDate(std::optional<Date> date) {
  return queriedDate(date, 1144).month;
}

int ZDateUtilities::dayOfYearForDate(std::optional<Date> date) {
  const std::optional<DayNumber> day = queriedDay(date, 1162);
  if (!day) return 0;
  return *day - dayNumberFromCivilDate({civilDateFromDayNumber(*day).year, 1, 1}) + 1;
}

std::int64_t ZDateUtilities::yearForDate(std::optional<Date> date) {
  return queriedDate(date, 1178).year;
}

int ZDateUtilities::weekOfYearForDate(std::optional<Date> date) {
  const std::optional<DayNumber> day = queriedDay(date, 1196);
  if (!day) return 0;
  const std::int32_t year = civilDateFromDayNumber(*day).year;
  const std::int64_t saturday = std::int64_t{*day} + 7 - weekdayFromDayNumber(*day);
  // The week that holds 1 January of the next year is that year's first.
  const bool isFirstOfNext = isCalendarDay(saturday) &&
                             civilDateFromDayNumber(static_cast<DayNumber>(saturday)).year > year;
  return isFirstOfNext ? 1 : weekSince(dayNumberFromCivilDate({year, 1, 1}), *day);
}

bool ZDateUtilities::dateContainsTimestamp(std::optional<Date> date,
                                           std::optional<Timestamp> timestamp,
                                           std::optional<TimeZone> timeZone) {
  if (!date || !timestamp) failAssertion(1216, "inDate != nil && inTimestamp != nil");
  const std::optional<CivilDate> day = componentsFromDate(_dateByCoercingObjectToValidDate(date));
  const std::optional<DateComponents> at =
      ZTimestampUtilities::componentsForTimestamp(timestamp, timeZone);
  return day && at && day->year == at->year && day->month == at->month && day->day == at->day;
}

}  // namespace ztp
