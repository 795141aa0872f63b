// The types of std::chrono and this library's: the same days, instants and fields both ways.
#include "calendar/Chrono.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::local_days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

// All of it is known to the compiler.
static_assert(dateFromSysDays(sys_days(2001y / 1 / 1)) == Date(43'200.0));
static_assert(sysDaysFromDate(Date(43'200.0)) == sys_days(2001y / 1 / 1));
static_assert(yearMonthDayFromDate(Date(43'200.0)) == 2001y / 1 / 1);
static_assert(timestampFromSysTime(sys_days(2001y / 1 / 1) + 250ms) == Timestamp(0.25));
static_assert(sysTimeFromTimestamp<std::chrono::milliseconds>(Timestamp(0.25)) ==
              sys_days(2001y / 1 / 1) + 250ms);

struct NamePair {
  CivilDate ours;
  year_month_day theirs;
};

constexpr NamePair names[] = {
    {{2019, 3, 15}, 2019y / 3 / 15},     {{1970, 1, 1}, 1970y / 1 / 1},
    {{2000, 2, 29}, 2000y / 2 / 29},     {{1582, 10, 15}, 1582y / 10 / 15},
    {{1582, 10, 4}, 1582y / 10 / 14},  // the last day that the two call by other names
    {{1500, 2, 29}, 1500y / 3 / 10},   // a leap day that the Gregorian calendar has not
    {{1, 1, 1}, 0y / 12 / 30},           {{1, 1, 3}, 1y / 1 / 1},
    {{32767, 12, 31}, 32767y / 12 / 31},
};

TEST(Chrono, NamesTheSameDay) {
  for (const NamePair& each : names) {
    const Date date = dateOfDay(dayNumberFromCivilDate(each.ours));
    EXPECT_EQ(text(dateFromYearMonthDay(each.theirs)), text(date));
    EXPECT_EQ(yearMonthDayFromDate(date), each.theirs) << toString(each.ours);
    EXPECT_EQ(civilDateFromYearMonthDay(each.theirs), each.ours);
    EXPECT_EQ(yearMonthDayFromCivilDate(each.ours), each.theirs) << toString(each.ours);
  }
}

TEST(Chrono, HasNoDateForANameThatIsNoDay) {
  EXPECT_EQ(dateFromYearMonthDay(2019y / 2 / 30), std::nullopt);
  EXPECT_EQ(dateFromYearMonthDay(2019y / 13 / 1), std::nullopt);
  EXPECT_EQ(civilDateFromYearMonthDay(0y / 12 / 29), std::nullopt);
  EXPECT_EQ(civilDateFromYearMonthDay(-44y / 3 / 15), std::nullopt);
  EXPECT_EQ(yearMonthDayFromCivilDate({1582, 10, 10}), std::nullopt);
  EXPECT_EQ(yearMonthDayFromCivilDate({2019, 2, 29}), std::nullopt);
  EXPECT_EQ(yearMonthDayFromCivilDate({32768, 1, 1}), std::nullopt);
  EXPECT_EQ(yearMonthDayFromDate(day(32768, 1, 1)), std::nullopt);
}

TEST(Chrono, ReadsTheDayOfAnyInstantInUTC) {
  EXPECT_EQ(sysDaysFromDate(utc(2019, 3, 15, 23, 59, 59)), sys_days(2019y / 3 / 15));
  EXPECT_EQ(sysDaysFromDate(utc(2019, 3, 15)), sys_days(2019y / 3 / 15));
  EXPECT_EQ(yearMonthDayFromDate(utc(1969, 12, 31, 23, 59)), 1969y / 12 / 31);
}

TEST(Chrono, IsAbsentBeyondTheCalendar) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds :
       {infinity, -infinity, 1e300, -1e15, 1e15, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(sysDaysFromDate(Date(seconds)), std::nullopt) << seconds;
    EXPECT_EQ(yearMonthDayFromDate(Date(seconds)), std::nullopt) << seconds;
    EXPECT_EQ(weekdayFromDate(Date(seconds)), std::nullopt) << seconds;
    EXPECT_EQ(sysTimeFromTimestamp<std::chrono::seconds>(Timestamp(seconds)), std::nullopt);
  }
  // No overflow on the way in; what comes out is beyond the calendar.
  EXPECT_EQ(ZDateUtilities::componentsFromDate(dateFromSysDays(sys_days::max())), std::nullopt);
  EXPECT_EQ(ZDateUtilities::componentsFromDate(dateFromSysDays(sys_days::min())), std::nullopt);
}

TEST(Chrono, NumbersWeekdaysFromSunday) {
  EXPECT_EQ(weekdayNumber(std::chrono::Sunday), 1);
  EXPECT_EQ(weekdayNumber(std::chrono::Saturday), 7);
  EXPECT_EQ(weekdayNumber(std::chrono::weekday(9)), 0);
  EXPECT_EQ(weekdayFromNumber(2), std::chrono::Monday);
  EXPECT_EQ(weekdayFromNumber(0), std::nullopt);
  EXPECT_EQ(weekdayFromNumber(8), std::nullopt);
  EXPECT_EQ(weekdayFromDate(day(2019, 3, 15)), std::chrono::Friday);
}

TEST(Chrono, ConvertsInstantsOfEveryDuration) {
  const Timestamp instant = utc(2019, 3, 15, 13, 30, 0, 0.25);
  const auto theirs = sys_days(2019y / 3 / 15) + 13h + 30min + 250ms;
  EXPECT_EQ(text(timestampFromSysTime(theirs)), text(instant));
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::milliseconds>(instant), theirs);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::nanoseconds>(instant), theirs);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::seconds>(instant), theirs - 250ms);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::hours>(instant), theirs - 30min - 250ms);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::days>(instant), sys_days(2019y / 3 / 15));
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::duration<double>>(instant), theirs);
}

TEST(Chrono, CutsWhatADurationCannotHoldOffTowardsThePast) {
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::seconds>(utc(2019, 3, 15, 0, 0, 0, 0.999999)),
            sys_days(2019y / 3 / 15));
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::seconds>(utc(1960, 3, 15, 0, 0, 0, 0.999999)),
            sys_days(1960y / 3 / 15));
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::milliseconds>(utc(2019, 3, 15, 0, 0, 0, 0.0019)),
            sys_days(2019y / 3 / 15) + 1ms);
}

TEST(Chrono, BringsADecimalFractionBackAsItWas) {
  for (const char* second : {"2019-03-15", "1969-12-31", "1601-01-01", "2400-02-29"}) {
    const Date date = ZDateUtilities::dateFromISO8601String(second).value();
    const auto start = sysTimeFromTimestamp<std::chrono::milliseconds>(date).value();
    for (int milliseconds = 0; milliseconds < 1000; ++milliseconds) {
      const auto time = start + std::chrono::milliseconds(milliseconds);
      ASSERT_EQ(sysTimeFromTimestamp<std::chrono::milliseconds>(timestampFromSysTime(time)), time);
    }
  }
}

TEST(Chrono, EndsWithTheDurationOrTheCalendar) {
  EXPECT_NE(sysTimeFromTimestamp<std::chrono::nanoseconds>(utc(2262, 4, 11)), std::nullopt);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::nanoseconds>(utc(2262, 4, 12)), std::nullopt);
  EXPECT_EQ(sysTimeFromTimestamp<std::chrono::nanoseconds>(utc(1677, 9, 20)), std::nullopt);
  EXPECT_NE(sysTimeFromTimestamp<std::chrono::microseconds>(utc(200'000, 1, 1)), std::nullopt);
  using ShortSeconds = std::chrono::duration<std::int32_t>;
  EXPECT_NE(sysTimeFromTimestamp<ShortSeconds>(utc(2038, 1, 18)), std::nullopt);
  EXPECT_EQ(sysTimeFromTimestamp<ShortSeconds>(utc(2038, 1, 20)), std::nullopt);
}

TEST(Chrono, AddsDurations) {
  Timestamp instant = utc(2019, 3, 15, 13, 30);
  EXPECT_EQ(text(instant + 90min), "2019-03-15 15:00:00");
  EXPECT_EQ(text(instant - 1500ms), "2019-03-15 13:29:58.5");
  EXPECT_EQ(text(instant += 24h), "2019-03-16 13:30:00");
  EXPECT_EQ(text(instant -= 1s), "2019-03-16 13:29:59");
}

TEST(Chrono, TakesWallClocksApart) {
  const auto time = local_days(2019y / 3 / 15) + 13h + 30min + 7s + 999ms;
  const DateComponents fields{2019, 3, 15, 13, 30, 7, std::nullopt};
  EXPECT_EQ(componentsFromLocalTime(time), fields);
  EXPECT_EQ(localTimeFromComponents(fields), time - 999ms);
  EXPECT_EQ(yearMonthDayFromComponents(fields), 2019y / 3 / 15);
  EXPECT_EQ(componentsFromLocalTime(local_days(2019y / 3 / 15)),
            (DateComponents{2019, 3, 15, 0, 0, 0, std::nullopt}));
}

TEST(Chrono, NormalisesFieldsOutOfRange) {
  EXPECT_EQ(localTimeFromComponents({2019, 14, 31, 25, -1, 60, std::nullopt}),
            local_days(2020y / 3 / 3) + 1h);
  EXPECT_EQ(localTimeFromComponents({0, 1, 1, 0, 0, 0, std::nullopt}), std::nullopt);
  EXPECT_EQ(localTimeFromComponents({2019, 1, 1, INT64_MAX, 0, 0, std::nullopt}), std::nullopt);
  EXPECT_EQ(componentsFromLocalTime(std::chrono::local_days::max()), std::nullopt);
  EXPECT_EQ(componentsFromLocalTime(std::chrono::local_seconds::min()), std::nullopt);
}

}  // namespace
}  // namespace ztp::test
