// BusinessCalendar: questions and steps, each a look or two into the table.
// BusinessCalendarMaking.cpp makes the tables.
#include "calendar/BusinessCalendar.h"

#include <algorithm>
#include <utility>

#include "calendar/BusinessDayTable.h"
#include "calendar/CivilDate.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZDateUtilities.h"

namespace ztp {

namespace {

static_assert(BusinessCalendar::firstYear == BusinessDayTable::firstYear);
static_assert(BusinessCalendar::lastYear == BusinessDayTable::lastYear);

// The day in UTC of an instant, when a table has it.
std::optional<DayNumber> dayOfTable(Date date) {
  const std::optional<DayNumber> day = dayOfTimestamp(date);
  return day && BusinessDayTable::covers(*day) ? day : std::nullopt;
}

std::optional<Date> dateOf(std::optional<DayNumber> day) {
  if (!day) return std::nullopt;
  return dateOfDay(*day);
}

std::optional<DayNumber> followingDay(const BusinessDayTable& table, DayNumber day) {
  return table.businessDayAfter(table.businessDaysBefore(day), day);
}

std::optional<DayNumber> precedingDay(const BusinessDayTable& table, DayNumber day) {
  return table.businessDayAfter(table.businessDaysBefore(day + 1) - 1, day);
}

bool isSameMonth(std::optional<DayNumber> left, DayNumber right) {
  if (!left) return false;
  const CivilDate one = civilDateFromDayNumber(*left);
  const CivilDate other = civilDateFromDayNumber(right);
  return one.month == other.month && one.year == other.year;
}

DayNumber lastDayOfMonthOf(DayNumber day) {
  const CivilDate date = civilDateFromDayNumber(day);
  return day - date.day + lastDayOfMonth(date.year, date.month);
}

std::optional<DayNumber> adjusted(const BusinessDayTable& table, DayNumber day,
                                  BusinessDayConvention convention) {
  if (table.isBusinessDay(day)) return day;
  std::optional<DayNumber> found;
  switch (convention) {
    case BusinessDayConvention::following:
      return followingDay(table, day);
    case BusinessDayConvention::preceding:
      return precedingDay(table, day);
    case BusinessDayConvention::modifiedFollowing:
      found = followingDay(table, day);
      return isSameMonth(found, day) ? found : precedingDay(table, day);
    case BusinessDayConvention::modifiedPreceding:
      found = precedingDay(table, day);
      return isSameMonth(found, day) ? found : followingDay(table, day);
    case BusinessDayConvention::unadjusted:
      break;
  }
  return day;
}

}  // namespace

bool BusinessCalendar::isBusinessDay(Date date) const {
  const std::optional<DayNumber> day = dayOfTimestamp(date);
  return day && table_->isBusinessDay(*day);
}

HolidayName BusinessCalendar::nameOfHoliday(Date date) const {
  const std::optional<DayNumber> day = dayOfTimestamp(date);
  const NamedHoliday* holiday = day ? table_->holidayOn(*day) : nullptr;
  return holiday ? HolidayName{true, holiday->inLieu, holiday->name} : HolidayName{};
}

std::vector<Holiday> BusinessCalendar::holidays(Date from, Date before) const {
  const std::optional<DayNumber> first = dayOfTimestamp(from);
  const std::optional<DayNumber> end = dayOfTimestamp(before);
  std::vector<Holiday> found;
  if (!first || !end) return found;
  for (const NamedHoliday& each : table_->holidays(*first, *end)) {
    found.push_back({dateOfDay(each.day), each.inLieu, each.name});
  }
  return found;
}

std::optional<std::int64_t> BusinessCalendar::businessDays(Date from, Date before) const {
  const std::optional<DayNumber> first = dayOfTable(from);
  const std::optional<DayNumber> end = dayOfTable(before);
  if (!first || !end) return std::nullopt;
  return table_->businessDaysBefore(*end) - table_->businessDaysBefore(*first);
}

std::optional<Date> BusinessCalendar::adjust(Date date, BusinessDayConvention convention) const {
  const std::optional<DayNumber> day = dayOfTable(date);
  if (!day) return std::nullopt;
  return dateOf(adjusted(*table_, *day, convention));
}

std::optional<Date> BusinessCalendar::advance(Date date, std::int64_t businessDays) const {
  constexpr std::int64_t farthest = BusinessDayTable::lastDay - BusinessDayTable::firstDay;
  const std::optional<DayNumber> day = dayOfTable(date);
  if (!day || businessDays > farthest || businessDays < -farthest) return std::nullopt;
  // A start that is a business day is passed by the first step forward; from any other it is met.
  const bool isMet = businessDays > 0 && !table_->isBusinessDay(*day);
  const std::int64_t count = table_->businessDaysBefore(*day) + businessDays - (isMet ? 1 : 0);
  return dateOf(table_->businessDayAfter(count, *day));
}

std::optional<Date> BusinessCalendar::advanceMonths(Date date, std::int64_t months,
                                                    BusinessDayConvention convention,
                                                    EndOfMonth endOfMonth) const {
  const std::optional<DayNumber> day = dayOfTable(date);
  if (!day) return std::nullopt;
  const std::optional<Date> moved = ZDateUtilities::dateByAddingMonths(months, dateOfDay(*day));
  if (!moved) return std::nullopt;
  const bool isKept = endOfMonth == EndOfMonth::kept && isEndOfMonth(date);
  return isKept ? lastBusinessDayOfMonth(*moved) : adjust(*moved, convention);
}

std::optional<Date> BusinessCalendar::lastBusinessDayOfMonth(Date date) const {
  const std::optional<DayNumber> day = dayOfTable(date);
  if (!day) return std::nullopt;
  return dateOf(adjusted(*table_, lastDayOfMonthOf(*day), BusinessDayConvention::preceding));
}

bool BusinessCalendar::isEndOfMonth(Date date) const {
  const std::optional<DayNumber> day = dayOfTable(date);
  if (!day) return false;
  return table_->businessDaysBefore(*day + 1) ==
         table_->businessDaysBefore(lastDayOfMonthOf(*day) + 1);
}

}  // namespace ztp
