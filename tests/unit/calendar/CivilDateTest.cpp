// CivilDate: day numbers against the calendar of the C++ library, the change of calendars, and
// numbers that roll over.
#include "calendar/CivilDate.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace ztp::test {
namespace {

struct NamedDay {
  CivilDate date;
  DayNumber number;
  int weekday;
};

constexpr NamedDay namedDays[] = {
    {{2001, 1, 1}, 0, 2},
    {{1970, 1, 1}, -11'323, 5},
    {{2000, 2, 29}, -307, 3},
    {{1582, 10, 15}, firstGregorianDay, 6},
    {{1582, 10, 4}, firstGregorianDay - 1, 5},
    {{1500, 2, 29}, -182'919, 7},
    {{1, 1, 1}, firstCalendarDay, 7},
    {{4001, 1, 1}, 730'485, 2},
    {{lastCalendarYear, 12, 31}, lastCalendarDay, 1},
};

TEST(CivilDate, KnowsTheNumberAndWeekdayOfNamedDays) {
  for (const NamedDay& named : namedDays) {
    SCOPED_TRACE(named.number);
    EXPECT_EQ(dayNumberFromCivilDate(named.date), named.number);
    EXPECT_EQ(civilDateFromDayNumber(named.number), named.date);
    EXPECT_EQ(weekdayFromDayNumber(named.number), named.weekday);
  }
}

TEST(CivilDate, AgreesWithTheStandardLibraryOnEveryDayFrom1582To4100) {
  using std::chrono::sys_days;
  const auto reference = sys_days{std::chrono::January / 1 / 2001};
  const auto end = sys_days{std::chrono::January / 1 / 4100};
  for (auto at = sys_days{std::chrono::October / 15 / 1582}; at < end; at += std::chrono::days{1}) {
    const std::chrono::year_month_day expected{at};
    const auto number = static_cast<DayNumber>((at - reference).count());
    const CivilDate date = civilDateFromDayNumber(number);
    ASSERT_EQ(date.year, static_cast<int>(expected.year()));
    ASSERT_EQ(date.month, static_cast<int>(static_cast<unsigned>(expected.month())));
    ASSERT_EQ(date.day, static_cast<int>(static_cast<unsigned>(expected.day())));
    ASSERT_EQ(dayNumberFromCivilDate(date), number);
    ASSERT_EQ(weekdayFromDayNumber(number),
              static_cast<int>(std::chrono::weekday{at}.c_encoding()) + 1);
  }
}

TEST(CivilDate, GivesEveryJulianDayBackAndCountsOnWithoutAGap) {
  CivilDate before = civilDateFromDayNumber(firstCalendarDay);
  for (DayNumber number = firstCalendarDay + 1; number < firstGregorianDay; ++number) {
    const CivilDate date = civilDateFromDayNumber(number);
    ASSERT_EQ(dayNumberFromCivilDate(date), number);
    if (date.day != 1) {
      ASSERT_EQ(date, (CivilDate{before.year, before.month, before.day + 1}));
    } else {
      ASSERT_EQ(before.day, lastDayOfMonth(before.year, before.month));
    }
    before = date;
  }
  EXPECT_EQ(before, (CivilDate{1582, 10, 4}));
}

TEST(CivilDate, HasLeapDaysByJulianCountBefore1582AndByGregorianCountAfter) {
  struct Case {
    int year;
    bool leap;
  };
  for (const Case& at : {Case{4, true},
                         {100, true},
                         {1500, true},
                         {1581, false},
                         {1582, false},
                         {1584, true},
                         {1700, false},
                         {1900, false},
                         {2000, true},
                         {2023, false},
                         {2024, true},
                         {2100, false}}) {
    EXPECT_EQ(isLeapYear(at.year), at.leap) << at.year;
    EXPECT_EQ(lastDayOfMonth(at.year, 2), at.leap ? 29 : 28) << at.year;
  }
}

TEST(CivilDate, KnowsWhichDaysExist) {
  struct Case {
    CivilDate date;
    bool exists;
  };
  const Case cases[] = {
      {{2019, 2, 28}, true},
      {{2019, 2, 29}, false},
      {{2020, 2, 29}, true},
      {{2019, 4, 31}, false},
      {{2019, 0, 1}, false},
      {{2019, 13, 1}, false},
      {{2019, 1, 0}, false},
      {{2019, 1, 32}, false},
      {{0, 1, 1}, false},
      {{1582, 10, 4}, true},
      {{1582, 10, 5}, false},
      {{1582, 10, 14}, false},
      {{1582, 10, 15}, true},
      {{1582, 9, 10}, true},
      {{lastCalendarYear, 12, 31}, true},
      {{lastCalendarYear + 1, 1, 1}, false},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(isExistingDay(at.date), at.exists)
        << at.date.year << '-' << at.date.month << '-' << at.date.day;
  }
}

TEST(CivilDate, RollsNumbersOutOfRangeOver) {
  struct Case {
    std::int64_t year, month, day;
    CivilDate date;
  };
  const Case cases[] = {
      {2020, 13, 1, {2021, 1, 1}},     {2020, 25, 1, {2022, 1, 1}},   {2020, 0, 1, {2019, 12, 1}},
      {2020, -11, 1, {2019, 1, 1}},    {2020, 2, 30, {2020, 3, 1}},   {2020, 1, 0, {2019, 12, 31}},
      {2020, 1, 366, {2020, 12, 31}},  {2020, 1, -364, {2019, 1, 1}}, {1582, 10, 5, {1582, 10, 15}},
      {1582, 10, 14, {1582, 10, 24}},  {1582, 9, 40, {1582, 10, 20}}, {1582, 9, 34, {1582, 10, 4}},
      {1581, 12, 330, {1582, 10, 26}},
  };
  for (const Case& at : cases) {
    const auto number = dayNumberRollingOver(at.year, at.month, at.day);
    ASSERT_TRUE(number.has_value());
    EXPECT_EQ(civilDateFromDayNumber(*number), at.date)
        << at.year << '-' << at.month << '-' << at.day;
  }
}

TEST(CivilDate, RefusesNumbersBeyondItsRangeWithoutOverflow) {
  constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
  EXPECT_FALSE(dayNumberRollingOver(1, 1, 0));
  EXPECT_FALSE(dayNumberRollingOver(1, 0, 1));
  EXPECT_FALSE(dayNumberRollingOver(lastCalendarYear, 12, 32));
  EXPECT_FALSE(dayNumberRollingOver(lastCalendarYear, 13, 1));
  for (const std::int64_t extreme : {most, most - 1, least, least + 1}) {
    EXPECT_FALSE(dayNumberRollingOver(extreme, 1, 1));
    EXPECT_FALSE(dayNumberRollingOver(2020, extreme, 1));
    EXPECT_FALSE(dayNumberRollingOver(2020, 1, extreme));
    EXPECT_FALSE(dayNumberRollingOver(extreme, extreme, extreme));
  }
}

}  // namespace
}  // namespace ztp::test
