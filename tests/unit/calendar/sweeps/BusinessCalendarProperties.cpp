// Properties of business calendars and of the chrono conversions, over random calendars, dates and
// instants. RapidCheck prints its seed; RC_PARAMS="seed=..." runs the same again.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "calendar/BusinessCalendar.h"
#include "calendar/Chrono.h"
#include "calendar/CivilDate.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

// A date of the years 1950 to 2249: far enough from the ends for every step below.
Date anyDate() {
  constexpr DayNumber first = dayNumberFromCivilDate({1950, 1, 1});
  constexpr DayNumber last = dayNumberFromCivilDate({2250, 1, 1});
  return dateOfDay(*rc::gen::inRange(first, last).as("day since 2001-01-01"));
}

RecurringHoliday anyHoliday() {
  const auto observance = static_cast<Observance>(*rc::gen::inRange(0, 4));
  const int month = *rc::gen::inRange(1, 13);
  const int weekday = *rc::gen::inRange(1, 8);
  switch (*rc::gen::inRange(0, 4)) {
    case 0:
      return RecurringHoliday::onDay("day", month, *rc::gen::inRange(1, 29))
          .withObservance(observance);
    case 1:
      return RecurringHoliday::onNthWeekday("nth", month, *rc::gen::inRange(1, 6), weekday)
          .withObservance(observance);
    case 2:
      return RecurringHoliday::onWeekdayFrom("from", month, *rc::gen::inRange(1, 29), weekday)
          .withObservance(observance);
    default:
      return RecurringHoliday::fromEaster("Easter", *rc::gen::inRange(-60, 61))
          .withObservance(observance);
  }
}

// A market or one of random rules, with a weekend that leaves at least one day.
BusinessCalendar anyCalendar() {
  const int kind = *rc::gen::inRange(0, 6).as("market, or random rules");
  if (kind >= 1 && kind <= 3) return BusinessCalendar::market(static_cast<ZHolidayType>(kind));
  BusinessCalendarRules rules;
  rules.weekend.clear();
  const int off = *rc::gen::inRange(0, 127).as("weekend, one bit each from Sunday on");
  for (int weekday = 1; weekday <= 7; ++weekday) {
    if ((off >> (weekday - 1) & 1) != 0) rules.weekend.push_back(weekday);
  }
  const int count = *rc::gen::inRange(0, 12).as("holidays");
  for (int i = 0; i < count; ++i) rules.holidays.push_back(anyHoliday());
  rules.closedDays.push_back({anyDate(), "closed"});
  rules.openDays.push_back(anyDate());
  return BusinessCalendar::custom(rules);
}

BusinessDayConvention anyConvention() {
  return static_cast<BusinessDayConvention>(*rc::gen::inRange(0, 5).as("convention"));
}

RC_GTEST_PROP(BusinessCalendarProperties, advanceAndCountAreInverse, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const Date start = calendar.adjust(anyDate()).value();
  const auto count = *rc::gen::inRange<std::int64_t>(-1500, 1501).as("count");
  const Date reached = calendar.advance(start, count).value();
  RC_ASSERT(calendar.isBusinessDay(reached));
  RC_ASSERT(calendar.businessDays(start, reached) == count);
  RC_ASSERT(calendar.advance(reached, -count) == start);
}

RC_GTEST_PROP(BusinessCalendarProperties, countsAddUp, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const Date one = anyDate();
  const Date two = anyDate();
  const Date three = anyDate();
  const auto count = [&](Date from, Date to) { return calendar.businessDays(from, to).value(); };
  RC_ASSERT(count(one, two) + count(two, three) == count(one, three));
  RC_ASSERT(count(one, two) == -count(two, one));
}

RC_GTEST_PROP(BusinessCalendarProperties, aCountIsWhatOneByOneGives, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const Date start = anyDate();
  const auto days = *rc::gen::inRange(0, 800).as("days");
  std::int64_t counted = 0;
  for (int day = 0; day < days; ++day) {
    if (calendar.isBusinessDay(start + day * 86'400.0)) ++counted;
  }
  RC_ASSERT(calendar.businessDays(start, start + days * 86'400.0) == counted);
}

RC_GTEST_PROP(BusinessCalendarProperties, adjustIsIdempotent, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const BusinessDayConvention convention = anyConvention();
  const std::optional<Date> once = calendar.adjust(anyDate(), convention);
  RC_ASSERT(once.has_value());
  RC_ASSERT(calendar.adjust(*once, convention) == once);
}

RC_GTEST_PROP(BusinessCalendarProperties, adjustingLeavesNoBusinessDayBetween, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const Date date = anyDate();
  const Date following = calendar.adjust(date, BusinessDayConvention::following).value();
  const Date preceding = calendar.adjust(date, BusinessDayConvention::preceding).value();
  RC_ASSERT(calendar.businessDays(date, following) == 0);
  RC_ASSERT(calendar.businessDays(preceding, date) == (preceding == date ? 0 : 1));
  RC_ASSERT(preceding <= date && date <= following);
}

RC_GTEST_PROP(BusinessCalendarProperties, jointCalendarsAreUnionAndIntersection, ()) {
  const BusinessCalendar one = anyCalendar();
  const BusinessCalendar other = anyCalendar();
  const auto any = BusinessCalendar::closedWhenAny({one, other});
  const auto all = BusinessCalendar::closedWhenAll({one, other});
  const Date start = anyDate();
  for (int day = 0; day < 400; ++day) {
    const Date date = start + day * 86'400.0;
    const bool isOne = one.isBusinessDay(date);
    const bool isOther = other.isBusinessDay(date);
    RC_ASSERT(any.isBusinessDay(date) == (isOne && isOther));
    RC_ASSERT(all.isBusinessDay(date) == (isOne || isOther));
    const bool isHoliday = one.nameOfHoliday(date).isHoliday || other.nameOfHoliday(date).isHoliday;
    RC_ASSERT(any.nameOfHoliday(date).isHoliday == isHoliday);
  }
}

RC_GTEST_PROP(BusinessCalendarProperties, aHolidayIsNoBusinessDayAndIsListed, ()) {
  const BusinessCalendar calendar = anyCalendar();
  const Date start = anyDate();
  const Date end = start + 800 * 86'400.0;
  Date before = start - 86'400.0;
  for (const Holiday& holiday : calendar.holidays(start, end)) {
    RC_ASSERT(before < holiday.date && holiday.date < end);
    RC_ASSERT(!calendar.isBusinessDay(holiday.date));
    RC_ASSERT(calendar.nameOfHoliday(holiday.date).name == holiday.name);
    before = holiday.date;
  }
}

// The whole range of each type, as wide as the other one reaches.

RC_GTEST_PROP(ChronoProperties, daysComeBack, ()) {
  const auto number =
      *rc::gen::inRange<std::int64_t>(firstCalendarDay, std::int64_t{lastCalendarDay} + 1);
  const Date date = dateOfDay(static_cast<DayNumber>(number));
  const auto theirs = sysDaysFromDate(date);
  RC_ASSERT(theirs.has_value());
  RC_ASSERT(dateFromSysDays(*theirs) == date);
  RC_ASSERT(weekdayNumber(*weekdayFromDate(date)) == ZDateUtilities::dayOfWeekForDate(date));
}

RC_GTEST_PROP(ChronoProperties, namesComeBack, ()) {
  constexpr DayNumber last = dayNumberFromCivilDate({32'767, 12, 31});
  const Date date = dateOfDay(*rc::gen::inRange(firstCalendarDay, last + 1));
  const auto theirs = yearMonthDayFromDate(date);
  RC_ASSERT(theirs.has_value() && theirs->ok());
  RC_ASSERT(dateFromYearMonthDay(*theirs) == date);
  RC_ASSERT(civilDateFromYearMonthDay(*theirs) == ZDateUtilities::componentsFromDate(date));
  RC_ASSERT(yearMonthDayFromCivilDate(*civilDateFromYearMonthDay(*theirs)) == theirs);
}

RC_GTEST_PROP(ChronoProperties, millisecondsComeBack, ()) {
  constexpr std::int64_t years = 100'000LL * 31'556'952'000;
  const std::chrono::sys_time<std::chrono::milliseconds> time(
      std::chrono::milliseconds(*rc::gen::inRange(-62'000'000'000'000, years)));
  RC_ASSERT(sysTimeFromTimestamp<std::chrono::milliseconds>(timestampFromSysTime(time)) == time);
}

RC_GTEST_PROP(ChronoProperties, microsecondsOfACenturyComeBack, ()) {
  constexpr std::int64_t century = 3'155'695'200'000'000;
  const std::chrono::sys_time<std::chrono::microseconds> time(
      std::chrono::microseconds(*rc::gen::inRange<std::int64_t>(0, century)));
  RC_ASSERT(sysTimeFromTimestamp<std::chrono::microseconds>(timestampFromSysTime(time)) == time);
}

RC_GTEST_PROP(ChronoProperties, wallClocksComeBack, ()) {
  const std::chrono::local_seconds time(
      std::chrono::seconds(*rc::gen::inRange<std::int64_t>(-62'000'000'000, 150'000'000'000'000)));
  const auto fields = componentsFromLocalTime(time);
  RC_ASSERT(fields.has_value());
  RC_ASSERT(localTimeFromComponents(*fields) == time);
}

}  // namespace
}  // namespace ztp::test
