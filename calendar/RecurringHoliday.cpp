// RecurringHoliday: the rules, by integer arithmetic on day numbers.
#include "calendar/RecurringHoliday.h"

#include <stdexcept>
#include <string>

#include "calendar/HolidayRules.h"
#include "calendar/NameRegistry.h"

namespace ztp {

namespace {

constexpr int aLeapYear = 2000;
constexpr int lastOne = -1;

void require(bool holds, std::string_view name) {
  if (!holds) throw std::invalid_argument("RecurringHoliday: no such day: " + std::string(name));
}

bool isWeekday(int weekday) {
  return weekday >= 1 && weekday <= 7;
}

// The first such weekday on or after a day.
DayNumber weekdayFrom(DayNumber day, int weekday) {
  return day + (weekday - weekdayFromDayNumber(day) + 7) % 7;
}

// The nth such weekday of a month; absent when the month has no fifth.
std::optional<CivilDate> nthWeekday(std::int32_t year, int month, int nth, int weekday) {
  const int last = lastDayOfMonth(year, month);
  if (nth == lastOne) {
    const DayNumber lastWeek = dayNumberFromCivilDate({year, month, last - 6});
    return civilDateFromDayNumber(weekdayFrom(lastWeek, weekday));
  }
  const DayNumber first = dayNumberFromCivilDate({year, month, 1});
  const CivilDate found = civilDateFromDayNumber(weekdayFrom(first, weekday) + 7 * (nth - 1));
  if (found.month != month) return std::nullopt;
  return found;
}

}  // namespace

RecurringHoliday::RecurringHoliday(Kind kind, std::string_view name, int month, int day,
                                   int weekday)
    : kind_(kind), name_(keptName(name)), month_(month), day_(day), weekday_(weekday) {}

RecurringHoliday RecurringHoliday::onDay(std::string_view name, int month, int day) {
  require(isExistingDay({aLeapYear, month, day}), name);
  return {Kind::day, name, month, day, 0};
}

RecurringHoliday RecurringHoliday::onNthWeekday(std::string_view name, int month, int nth,
                                                int weekday) {
  const bool isNth = nth == lastOne || (nth >= 1 && nth <= 5);
  require(isExistingDay({aLeapYear, month, 1}) && isNth && isWeekday(weekday), name);
  return {Kind::nthWeekday, name, month, nth, weekday};
}

RecurringHoliday RecurringHoliday::onWeekdayFrom(std::string_view name, int month, int day,
                                                 int weekday) {
  require(isExistingDay({aLeapYear, month, day}) && isWeekday(weekday), name);
  return {Kind::weekdayFrom, name, month, day, weekday};
}

RecurringHoliday RecurringHoliday::fromEaster(std::string_view name, int days) {
  require(days >= -100 && days <= 100, name);
  return {Kind::fromEaster, name, 0, days, 0};
}

RecurringHoliday RecurringHoliday::withObservance(Observance observance) const {
  RecurringHoliday changed = *this;
  changed.observance_ = observance;
  return changed;
}

RecurringHoliday RecurringHoliday::withYears(std::int32_t first, std::int32_t last) const {
  RecurringHoliday changed = *this;
  changed.firstYear_ = first;
  changed.lastYear_ = last;
  return changed;
}

std::optional<CivilDate> RecurringHoliday::dayInYear(std::int32_t year) const {
  if (year < firstYear_ || year > lastYear_ || year < 1583 || year > 9999) return std::nullopt;
  switch (kind_) {
    case Kind::day:
      if (!isExistingDay({year, month_, day_})) return std::nullopt;
      return CivilDate{year, month_, day_};
    case Kind::nthWeekday:
      return nthWeekday(year, month_, day_, weekday_);
    case Kind::weekdayFrom:
      return civilDateFromDayNumber(
          weekdayFrom(dayNumberFromCivilDate({year, month_, day_}), weekday_));
    case Kind::fromEaster:
      return civilDateFromDayNumber(dayNumberFromCivilDate(easterSunday(year)) + day_);
  }
  return std::nullopt;
}

}  // namespace ztp
