// ZDateUtilities: adding to dates, period boundaries, and completing short years.
#include <gtest/gtest.h>

#include <limits>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

using Adding = std::optional<Date> (*)(std::int64_t, std::optional<Date>);

struct AddingCase {
  Adding add;
  std::int64_t count;
  Date from;
  const char* result;
};

TEST(DateArithmetic, AddsYearsMonthsAndDaysAndClampsToTheEndOfTheMonth) {
  const Adding years = ZDateUtilities::dateByAddingYears;
  const Adding months = ZDateUtilities::dateByAddingMonths;
  const Adding days = ZDateUtilities::dateByAddingDays;
  const AddingCase cases[] = {
      {months, 1, day(2020, 1, 31), "2020-02-29"},
      {months, 1, day(2019, 1, 31), "2019-02-28"},
      {months, -1, day(2020, 3, 31), "2020-02-29"},
      {months, 13, day(2019, 12, 15), "2021-01-15"},
      {months, -12, day(2019, 12, 15), "2018-12-15"},
      {months, 0, day(2019, 1, 31), "2019-01-31"},
      {months, 8, day(1582, 2, 10), "1582-10-20"},  // 10 October 1582 is none
      {years, 1, day(2020, 2, 29), "2021-02-28"},
      {years, 4, day(2020, 2, 29), "2024-02-29"},
      {years, -1, day(2019, 3, 15), "2018-03-15"},
      {years, 0, day(2019, 3, 15), "2019-03-15"},
      {years, -2019, day(2019, 3, 15), "none"},
      {days, 1, day(2019, 12, 31), "2020-01-01"},
      {days, -1, day(2020, 3, 1), "2020-02-29"},
      {days, 365, day(2019, 3, 15), "2020-03-14"},
      {days, 0, day(2019, 3, 15), "2019-03-15"},
      {days, 1, day(1582, 10, 4), "1582-10-15"},
      {days, -1, day(1, 1, 1), "none"},
      {days, 1, day(lastCalendarYear, 12, 31), "none"},
      {days, most, day(2019, 3, 15), "none"},
      {days, least, day(1019, 3, 15), "none"},
      {months, most, day(2019, 3, 15), "none"},
      {months, least, day(2019, 3, 15), "none"},
      {years, most, day(2019, 3, 15), "none"},
      {years, least, day(2019, 3, 15), "none"},
  };
  for (const AddingCase& at : cases) {
    EXPECT_EQ(text(at.add(at.count, at.from)), at.result) << text(at.from) << ", " << at.count;
  }
  for (const Adding add : {years, months, days}) {
    EXPECT_EQ(text(add(1, std::nullopt)), "none");
    EXPECT_EQ(text(add(0, std::nullopt)), "none");
  }
}

TEST(DateArithmetic, CoercesItsDate) {
  const LocalZoneIs tokyo("Asia/Tokyo");
  testing::internal::CaptureStderr();
  EXPECT_EQ(text(ZDateUtilities::dateByAddingDays(0, utc(2019, 3, 15, 20))), "2019-03-16");
  EXPECT_EQ(text(ZDateUtilities::dateByAddingDays(1, utc(2019, 3, 15, 20))), "2019-03-17");
  EXPECT_EQ(text(ZDateUtilities::dateByAddingMonths(1, utc(2019, 1, 30, 20))), "2019-02-28");
  EXPECT_EQ(text(ZDateUtilities::dateByAddingYears(1, utc(2020, 2, 28, 20))), "2021-02-28");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: Timestamp is not a valid date: 2019-03-15 20:00:00 +0000\n"
            "ERROR: Timestamp is not a valid date: 2019-03-15 20:00:00 +0000\n"
            "ERROR: Timestamp is not a valid date: 2019-01-30 20:00:00 +0000\n"
            "ERROR: Timestamp is not a valid date: 2020-02-28 20:00:00 +0000\n");
}

TEST(DateArithmetic, ADayHas86400Seconds) {
  EXPECT_EQ(ZDateUtilities::timeIntervalForNumberOfDays(1), 86'400.0);
  EXPECT_EQ(ZDateUtilities::timeIntervalForNumberOfDays(-3), -259'200.0);
  EXPECT_EQ(ZDateUtilities::timeIntervalForNumberOfDays(0), 0.0);
}

using Boundary = std::optional<Date> (*)(std::optional<Date>);

struct BoundaryCase {
  Boundary boundary;
  Date of;
  const char* result;
};

TEST(Periods, BeginAndEndAsTheyShould) {
  using Z = ZDateUtilities;
  const BoundaryCase cases[] = {
      {Z::firstDayOfWeekContainingDate, day(2019, 3, 13), "2019-03-10"},
      {Z::lastDayOfWeekContainingDate, day(2019, 3, 13), "2019-03-16"},
      {Z::firstDayOfWeekContainingDate, day(2019, 3, 10), "2019-03-10"},
      {Z::lastDayOfWeekContainingDate, day(2019, 3, 10), "2019-03-16"},
      {Z::firstDayOfWeekContainingDate, day(2019, 3, 16), "2019-03-10"},
      {Z::firstDayOfWeekContainingDate, day(2020, 1, 1), "2019-12-29"},
      {Z::firstDayOfWeekContainingDate, day(1, 1, 1), "none"},
      {Z::firstDayOfQuarterContainingDate, day(2019, 11, 30), "2019-10-01"},
      {Z::lastDayOfQuarterContainingDate, day(2019, 11, 30), "2019-12-31"},
      {Z::firstDayOfQuarterContainingDate, day(2019, 3, 31), "2019-01-01"},
      {Z::lastDayOfQuarterContainingDate, day(2019, 1, 1), "2019-03-31"},
      {Z::firstDayOfQuarterContainingDate, day(2019, 4, 1), "2019-04-01"},
      {Z::lastDayOfQuarterContainingDate, day(2019, 6, 30), "2019-06-30"},
      {Z::firstDayOfQuarterContainingDate, day(2019, 9, 30), "2019-07-01"},
      {Z::lastDayOfQuarterContainingDate, day(2019, 7, 1), "2019-09-30"},
      {Z::firstDayOfTaxQuarterContainingDate, day(2019, 3, 31), "2019-01-01"},
      {Z::lastDayOfTaxQuarterContainingDate, day(2019, 3, 31), "2019-03-31"},
      {Z::firstDayOfTaxQuarterContainingDate, day(2019, 5, 31), "2019-04-01"},
      {Z::lastDayOfTaxQuarterContainingDate, day(2019, 5, 31), "2019-05-31"},
      {Z::firstDayOfTaxQuarterContainingDate, day(2019, 6, 1), "2019-06-01"},
      {Z::lastDayOfTaxQuarterContainingDate, day(2019, 6, 1), "2019-08-31"},
      {Z::firstDayOfTaxQuarterContainingDate, day(2019, 12, 15), "2019-09-01"},
      {Z::lastDayOfTaxQuarterContainingDate, day(2019, 12, 15), "2019-12-31"},
      {Z::firstDayOfTaxQuarterContainingDate, day(2019, 9, 1), "2019-09-01"},
      {Z::firstDayOfMonthContainingDate, day(2020, 2, 10), "2020-02-01"},
      {Z::lastDayOfMonthContainingDate, day(2020, 2, 10), "2020-02-29"},
      {Z::lastDayOfMonthContainingDate, day(2019, 2, 10), "2019-02-28"},
      {Z::lastDayOfMonthContainingDate, day(2019, 12, 1), "2019-12-31"},
      {Z::lastDayOfMonthContainingDate, day(lastCalendarYear, 12, 1), "5000000-12-31"},
      {Z::firstDayOfYearContainingDate, day(2019, 7, 4), "2019-01-01"},
      {Z::lastDayOfYearContainingDate, day(2019, 7, 4), "2019-12-31"},
  };
  for (const BoundaryCase& at : cases) {
    EXPECT_EQ(text(at.boundary(at.of)), at.result) << text(at.of);
  }
}

TEST(Periods, HaveNoBoundaryWithoutADate) {
  using Z = ZDateUtilities;
  for (const Boundary boundary :
       {Z::firstDayOfWeekContainingDate, Z::lastDayOfWeekContainingDate,
        Z::firstDayOfQuarterContainingDate, Z::lastDayOfQuarterContainingDate,
        Z::firstDayOfTaxQuarterContainingDate, Z::lastDayOfTaxQuarterContainingDate,
        Z::firstDayOfMonthContainingDate, Z::lastDayOfMonthContainingDate,
        Z::firstDayOfYearContainingDate, Z::lastDayOfYearContainingDate}) {
    EXPECT_EQ(text(boundary(std::nullopt)), "none");
  }
}

TEST(Periods, AreThoseOfTheLocalDayOfAnInstantThatIsNoDate) {
  using Z = ZDateUtilities;
  const LocalZoneIs tokyo("Asia/Tokyo");
  const Timestamp eve = utc(2018, 12, 31, 20);  // Tuesday, 1 January in Tokyo
  const BoundaryCase cases[] = {
      {Z::firstDayOfWeekContainingDate, eve, "2018-12-30"},
      {Z::lastDayOfWeekContainingDate, eve, "2019-01-05"},
      {Z::firstDayOfQuarterContainingDate, eve, "2019-01-01"},
      {Z::lastDayOfQuarterContainingDate, eve, "2019-03-31"},
      {Z::firstDayOfTaxQuarterContainingDate, eve, "2019-01-01"},
      {Z::lastDayOfTaxQuarterContainingDate, eve, "2019-03-31"},
      {Z::firstDayOfMonthContainingDate, eve, "2019-01-01"},
      {Z::lastDayOfMonthContainingDate, eve, "2019-01-31"},
      {Z::firstDayOfYearContainingDate, eve, "2019-01-01"},
      {Z::lastDayOfYearContainingDate, eve, "2019-12-31"},
  };
  for (const BoundaryCase& at : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(text(at.boundary(at.of)), at.result);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR: Timestamp is not a valid date: 2018-12-31 20:00:00 +0000\n");
  }
}

TEST(Periods, TheFirstDayOfAYearGivenByNumberNeedsAYearOfTheCalendar) {
  EXPECT_EQ(text(ZDateUtilities::firstDayOfYearContainingYear(2019)), "2019-01-01");
  EXPECT_EQ(text(ZDateUtilities::firstDayOfYearContainingYear(1)), "0001-01-01");
  EXPECT_EQ(text(ZDateUtilities::firstDayOfYearContainingYear(0)), "none");
  EXPECT_EQ(text(ZDateUtilities::firstDayOfYearContainingYear(-5)), "none");
  EXPECT_EQ(text(ZDateUtilities::firstDayOfYearContainingYear(most)), "none");
}

TEST(Periods, FindTheFirstAndLastWeekdayOfAMonth) {
  struct Case {
    std::int64_t weekday;
    Date of;
    const char* first;
    const char* last;
  };
  const Case cases[] = {
      {2, day(2019, 9, 17), "2019-09-02", "2019-09-30"},
      {1, day(2019, 9, 1), "2019-09-01", "2019-09-29"},
      {7, day(2019, 9, 30), "2019-09-07", "2019-09-28"},
      {7, day(2020, 2, 1), "2020-02-01", "2020-02-29"},
      {8, day(2019, 9, 17), "none", "none"},
      {0, day(2019, 9, 17), "none", "none"},
      {-1, day(2019, 9, 17), "none", "none"},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(text(ZDateUtilities::firstWeekDay(at.weekday, at.of)), at.first) << at.weekday;
    EXPECT_EQ(text(ZDateUtilities::lastWeekDay(at.weekday, at.of)), at.last) << at.weekday;
  }
  EXPECT_EQ(text(ZDateUtilities::firstWeekDay(2, std::nullopt)), "none");
  EXPECT_EQ(text(ZDateUtilities::lastWeekDay(2, std::nullopt)), "none");
}

TEST(ShortYears, AreCompletedFromTheCurrentYear) {
  struct Case {
    std::int64_t year, current, without, with;  // without and with future years allowed
  };
  const Case cases[] = {
      {19, 2026, 2019, 2019},   {26, 2026, 2026, 2026},
      {27, 2026, 1927, 2027},   {56, 2026, 1956, 2056},
      {57, 2026, 1957, 1957},   {99, 2026, 1999, 1999},
      {0, 2026, 2000, 2000},    {2030, 2026, 1930, 2030},
      {2026, 2026, 2026, 2026}, {2019, 2026, 2019, 2019},
      {2126, 2026, 2026, 2126}, {2156, 2026, 1956, 2156},
      {126, 2026, 2126, 2126},  {999, 2026, 2999, 2999},
      {100, 2026, 2100, 2100},  {1000, 2026, 1000, 1000},
      {70, 1999, 1970, 1970},   {5, 1999, 1905, 1905},
      {-19, 2026, 1981, 1981},  {126, 99, 26, 126},
      {most, 2026, 2007, most}, {0, most, most / 100 * 100, most / 100 * 100},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(ZDateUtilities::yearByAdjustingYearIfNecessary(at.year, at.current, false),
              at.without)
        << at.year << " in " << at.current;
    EXPECT_EQ(ZDateUtilities::yearByAdjustingYearIfNecessary(at.year, at.current, true), at.with)
        << at.year << " in " << at.current;
  }
}

TEST(ShortYears, DoNotOverflowAtTheEndsOfTheNumbers) {
  for (const std::int64_t year : {most, least, std::int64_t{0}, std::int64_t{99}}) {
    for (const std::int64_t current : {most, least}) {
      EXPECT_NO_THROW(
          static_cast<void>(ZDateUtilities::yearByAdjustingYearIfNecessary(year, current, true)));
      EXPECT_NO_THROW(
          static_cast<void>(ZDateUtilities::yearByAdjustingYearIfNecessary(year, current, false)));
    }
  }
}

TEST(ShortYears, OfADateAreSeenFromTheCurrentDate) {
  ZDateUtilities::setCurrentDateOverride(day(2026, 5, 1));
  struct Case {
    Date date;
    const char* without;
    const char* with;
  };
  const Case cases[] = {
      {day(19, 3, 15), "2019-03-15", "2019-03-15"},
      {day(56, 3, 15), "1956-03-15", "2056-03-15"},
      {day(2019, 3, 15), "2019-03-15", "2019-03-15"},
      {day(2028, 2, 29), "1928-02-29", "2028-02-29"},
      {day(2032, 2, 29), "1932-02-29", "2032-02-29"},
      {day(4, 2, 29), "2004-02-29", "2004-02-29"},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(text(ZDateUtilities::dateByAdjustingYearIfNecessary(at.date, false)), at.without);
    EXPECT_EQ(text(ZDateUtilities::dateByAdjustingYearIfNecessary(at.date, true)), at.with);
  }
  // The Julian year 100 had a leap day; the year 2100 it becomes has none.
  EXPECT_EQ(text(ZDateUtilities::dateByAdjustingYearIfNecessary(day(100, 2, 29), true)),
            "2100-03-01");
  EXPECT_EQ(text(ZDateUtilities::dateByAdjustingYearIfNecessary(std::nullopt, true)), "none");
  ZDateUtilities::setCurrentDateOverride(std::nullopt);
}

}  // namespace
}  // namespace ztp::test
