// ZDateUtilities: adding years, months and days to a date, and completing short years.
#include "calendar/ZDateUtilities.h"

#include <algorithm>
#include <limits>

#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

using Limits = std::numeric_limits<std::int64_t>;

// The sum, or the number nearest to it that there is.
std::int64_t saturatedSum(std::int64_t left, std::int64_t right) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(left, right, &sum)) return sum;
  return left < 0 ? Limits::min() : Limits::max();
}

// The coerced date's day in the calendar; absent for none.
std::optional<DayNumber> coercedDay(std::optional<Date> coerced) {
  return coerced ? dayOfTimestamp(*coerced) : std::nullopt;
}

// The date moved by whole months, its day not beyond the end of the month arrived at.
std::optional<Date> movedByMonths(DayNumber from, std::int64_t months) {
  constexpr std::int64_t limit = 12LL * lastCalendarYear;
  if (months < -limit || months > limit) return std::nullopt;
  const CivilDate date = civilDateFromDayNumber(from);
  const std::int64_t month = 12LL * date.year + date.month - 1 + months;
  const std::int64_t year = month / 12;
  if (month < 12 || year > lastCalendarYear) return std::nullopt;
  CivilDate moved{static_cast<std::int32_t>(year), static_cast<std::int32_t>(month % 12) + 1, 1};
  moved.day = std::min(date.day, lastDayOfMonth(moved.year, moved.month));
  return dateOfDay(dayNumberFromCivilDate(moved));
}

}  // namespace

std::optional<Date> ZDateUtilities::dateByAddingYears(std::int64_t years,
                                                      std::optional<Date> toDate) {
  constexpr std::int64_t limit = lastCalendarYear;
  return dateByAddingMonths(12 * std::clamp<std::int64_t>(years, -limit, limit), toDate);
}

std::optional<Date> ZDateUtilities::dateByAddingMonths(std::int64_t months,
                                                       std::optional<Date> toDate) {
  if (!toDate) return std::nullopt;
  const std::optional<Date> date = _dateByCoercingObjectToValidDate(toDate);
  if (months == 0) return date;
  const std::optional<DayNumber> day = coercedDay(date);
  return day ? movedByMonths(*day, months) : std::nullopt;
}

std::optional<Date> ZDateUtilities::dateByAddingDays(std::int64_t days,
                                                     std::optional<Date> toDate) {
  if (!toDate) return std::nullopt;
  const std::optional<Date> date = _dateByCoercingObjectToValidDate(toDate);
  if (days == 0) return date;
  const std::optional<DayNumber> day = coercedDay(date);
  if (!day) return std::nullopt;
  const std::int64_t moved = saturatedSum(days, *day);
  if (!isCalendarDay(moved)) return std::nullopt;
  return dateOfDay(static_cast<DayNumber>(moved));
}

double ZDateUtilities::timeIntervalForNumberOfDays(std::int64_t days) {
  return static_cast<double>(days) * static_cast<double>(secondsPerDay);
}

std::int64_t ZDateUtilities::yearByAdjustingYearIfNecessary(std::int64_t year,
                                                            std::int64_t currentYear,
                                                            bool allowFutureYears) {
  constexpr std::int64_t farthestAhead = 30;
  if (year > currentYear && !allowFutureYears) year %= 100;
  if (year > 999) return year;
  if (year > 99) return saturatedSum(year, currentYear / 1000 * 1000);
  const std::int64_t inCentury = saturatedSum(year, currentYear / 100 * 100);
  const bool tooFarAhead = inCentury > saturatedSum(currentYear, farthestAhead);
  const bool aheadUnasked = !allowFutureYears && inCentury > currentYear;
  return tooFarAhead || aheadUnasked ? saturatedSum(inCentury, -100) : inCentury;
}

std::optional<Date> ZDateUtilities::dateByAdjustingYearIfNecessary(std::optional<Date> date,
                                                                   bool allowFutureYears) {
  if (!date) return std::nullopt;
  const std::optional<Date> coerced = _dateByCoercingObjectToValidDate(date);
  const std::optional<CivilDate> fields = componentsFromDate(coerced);
  if (!fields) return std::nullopt;
  const std::int64_t year =
      yearByAdjustingYearIfNecessary(fields->year, yearForDate(currentDate()), allowFutureYears);
  return year == fields->year ? coerced : dateWithYear(year, fields->month, fields->day);
}

}  // namespace ztp
