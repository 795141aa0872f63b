// ZDateUtilities: the first and last days of the weeks, months, quarters and years around a date.
#include "calendar/ZDateUtilities.h"

#include <array>

#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

struct Period {
  std::int32_t firstMonth;
  std::int32_t lastMonth;
};

constexpr std::array<Period, 4> calendarQuarters = {{{1, 3}, {4, 6}, {7, 9}, {10, 12}}};
constexpr std::array<Period, 4> taxQuarters = {{{1, 3}, {4, 5}, {6, 8}, {9, 12}}};

// A date as the boundary methods see it: coerced, and within the calendar.
struct DayOfDate {
  DayNumber number;
  CivilDate civil;
};

std::optional<DayOfDate> coercedDay(std::optional<Date> date) {
  if (!date) return std::nullopt;
  const std::optional<Date> coerced = ZDateUtilities::_dateByCoercingObjectToValidDate(date);
  const std::optional<DayNumber> number = coerced ? dayOfTimestamp(*coerced) : std::nullopt;
  if (!number) return std::nullopt;
  return DayOfDate{*number, civilDateFromDayNumber(*number)};
}

const Period& quarterOf(std::int32_t month, const std::array<Period, 4>& quarters) {
  for (const Period& quarter : quarters) {
    if (month <= quarter.lastMonth) return quarter;
  }
  return quarters.back();
}

Date firstOfMonth(std::int32_t year, std::int32_t month) {
  return dateOfDay(dayNumberFromCivilDate({year, month, 1}));
}

Date lastOfMonth(std::int32_t year, std::int32_t month) {
  return dateOfDay(dayNumberFromCivilDate({year, month, lastDayOfMonth(year, month)}));
}

std::optional<Date> firstOfQuarter(std::optional<Date> date,
                                   const std::array<Period, 4>& quarters) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return firstOfMonth(day->civil.year, quarterOf(day->civil.month, quarters).firstMonth);
}

std::optional<Date> lastOfQuarter(std::optional<Date> date, const std::array<Period, 4>& quarters) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return lastOfMonth(day->civil.year, quarterOf(day->civil.month, quarters).lastMonth);
}

// From a date on by steps of a day to the first that is the weekday; absent for no weekday.
std::optional<Date> nearestWeekDay(std::int64_t weekday, std::optional<Date> from,
                                   std::int64_t step) {
  if (weekday < 1 || weekday > 7) return std::nullopt;
  while (from && ZDateUtilities::dayOfWeekForDate(from) != weekday) {
    from = ZDateUtilities::dateByAddingDays(step, from);
  }
  return from;
}

}  // namespace

std::optional<Date> ZDateUtilities::firstDayOfWeekContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return dateByAddingDays(1 - weekdayFromDayNumber(day->number), dateOfDay(day->number));
}

std::optional<Date> ZDateUtilities::lastDayOfWeekContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return dateByAddingDays(7 - weekdayFromDayNumber(day->number), dateOfDay(day->number));
}

std::optional<Date> ZDateUtilities::firstDayOfQuarterContainingDate(std::optional<Date> date) {
  return firstOfQuarter(date, calendarQuarters);
}

std::optional<Date> ZDateUtilities::lastDayOfQuarterContainingDate(std::optional<Date> date) {
  return lastOfQuarter(date, calendarQuarters);
}

std::optional<Date> ZDateUtilities::firstDayOfTaxQuarterContainingDate(std::optional<Date> date) {
  return firstOfQuarter(date, taxQuarters);
}

std::optional<Date> ZDateUtilities::lastDayOfTaxQuarterContainingDate(std::optional<Date> date) {
  return lastOfQuarter(date, taxQuarters);
}

std::optional<Date> ZDateUtilities::firstDayOfMonthContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return firstOfMonth(day->civil.year, day->civil.month);
}

std::optional<Date> ZDateUtilities::lastDayOfMonthContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return lastOfMonth(day->civil.year, day->civil.month);
}

std::optional<Date> ZDateUtilities::firstWeekDay(std::int64_t weekday,
                                                 std::optional<Date> ofMonthContainingDate) {
  return nearestWeekDay(weekday, firstDayOfMonthContainingDate(ofMonthContainingDate), 1);
}

std::optional<Date> ZDateUtilities::lastWeekDay(std::int64_t weekday,
                                                std::optional<Date> ofMonthContainingDate) {
  return nearestWeekDay(weekday, lastDayOfMonthContainingDate(ofMonthContainingDate), -1);
}

std::optional<Date> ZDateUtilities::firstDayOfYearContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return firstDayOfYearContainingYear(day->civil.year);
}

std::optional<Date> ZDateUtilities::firstDayOfYearContainingYear(std::int64_t year) {
  return dateWithYear(year, 1, 1);
}

std::optional<Date> ZDateUtilities::lastDayOfYearContainingDate(std::optional<Date> date) {
  const std::optional<DayOfDate> day = coercedDay(date);
  if (!day) return std::nullopt;
  return lastOfMonth(day->civil.year, 12);
}

}  // namespace ztp
