// ZDateUtilities: weekdays by name, weekends, processing days, and stepping from one to another.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

TEST(WeekdayNames, AreEnglishInAnyCaseWithBlanksIgnored) {
  struct Case {
    const char* name;
    int weekday;
  };
  const Case cases[] = {
      {"Sunday", 1},   {"Monday", 2},  {"Tuesday", 3},  {"Wednesday", 4},
      {"Thursday", 5}, {"Friday", 6},  {"Saturday", 7}, {" tues day", 3},
      {"SATURDAY", 7}, {"Tue", 0},     {"", 0},         {"   ", 0},
      {"Sonntag", 0},  {"Sundays", 0}, {"\tSunday", 0}, {"S u n d a y ", 1},
  };
  for (const Case& at : cases) EXPECT_EQ(ZDateUtilities::dayOfWeekForName(at.name), at.weekday);
}

TEST(Weekends, AreSaturdayAndSunday) {
  EXPECT_FALSE(ZDateUtilities::isWeekend(day(2019, 3, 15)));
  EXPECT_TRUE(ZDateUtilities::isWeekend(day(2019, 3, 16)));
  EXPECT_TRUE(ZDateUtilities::isWeekend(day(2019, 3, 17)));
  EXPECT_FALSE(ZDateUtilities::isWeekend(day(2019, 3, 18)));
  EXPECT_FALSE(ZDateUtilities::isWeekend(std::nullopt));
}

TEST(ProcessingDays, AreThoseWhoseWeekdayIsNotOff) {
  const std::vector<int> weekend = {7, 1};
  EXPECT_TRUE(ZDateUtilities::isProcessingDay(day(2019, 3, 15), weekend));
  EXPECT_FALSE(ZDateUtilities::isProcessingDay(day(2019, 3, 16), weekend));
  EXPECT_FALSE(ZDateUtilities::isProcessingDay(day(2019, 3, 17), weekend));
  EXPECT_TRUE(ZDateUtilities::isProcessingDay(day(2019, 3, 16), {}));
  EXPECT_TRUE(ZDateUtilities::isProcessingDay(day(2019, 12, 25), weekend));  // holidays: no part
  EXPECT_FALSE(ZDateUtilities::isProcessingDay(std::nullopt, {}));
  EXPECT_TRUE(ZDateUtilities::isProcessingDay(day(2019, 3, 16), std::vector<int>{0, 8, -7}));
}

struct SteppingCase {
  Date from;
  std::int64_t count;
  const char* daysOff;
  std::int64_t step;
  const char* result;
};

constexpr const char* weekend = "Saturday,Sunday";

const SteppingCase steppingCases[] = {
    {day(2020, 7, 3), 0, weekend, 1, "2020-07-03"},
    {day(2020, 7, 6), 1, weekend, -1, "2020-07-03"},
    {day(2020, 7, 6), 0, weekend, 1, "2020-07-06"},
    {day(2020, 7, 6), 2, weekend, 1, "2020-07-08"},
    {day(2020, 7, 4), 0, weekend, 1, "2020-07-06"},
    {day(2020, 7, 4), 0, weekend, -1, "2020-07-03"},
    {day(2019, 12, 24), 1, weekend, 1, "2019-12-26"},
    {day(2019, 12, 25), 0, weekend, 1, "2019-12-26"},
    {day(2019, 12, 25), 0, weekend, -1, "2019-12-24"},
    {day(2021, 7, 2), 1, weekend, 1, "2021-07-06"},  // observed on Monday the 5th
    {day(2019, 12, 25), -1, weekend, 1, "2019-12-25"},
    {day(2019, 12, 25), least, weekend, 1, "2019-12-25"},
    {day(2019, 3, 15), 10, weekend, 1, "2019-03-29"},
    {day(2019, 3, 15), 1, "", 1, "2019-03-16"},
    {day(2019, 3, 15), 1, "Caturday", 1, "2019-03-16"},
    {day(2019, 3, 15), 1, " satur day , SUNDAY ,nonsense,,", 1, "2019-03-18"},
    {day(2019, 3, 15), 1, "Saturday,Saturday,Sunday", 1, "2019-03-18"},
    {day(2019, 3, 15), 1, weekend, 2, "2019-03-19"},
    {day(2019, 3, 15), 1, weekend, 7, "2019-03-22"},
    {day(2019, 12, 25), 0, weekend, 7, "2020-01-08"},  // two Wednesdays are holidays
    {day(2019, 3, 16), 0, weekend, 5, "2019-03-21"},
};

TEST(Stepping, PassesTheCountOfProcessingDaysAndLandsOnTheNext) {
  for (const SteppingCase& at : steppingCases) {
    EXPECT_EQ(text(ZDateUtilities::dateFromDate(at.from, at.count, at.daysOff, at.step)), at.result)
        << text(at.from) << ", " << at.count << ", \"" << at.daysOff << "\", " << at.step;
  }
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(std::nullopt, 1, weekend, 1)), "none");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(std::nullopt, -1, weekend, 1)), "none");
}

constexpr const char* allWeek = "Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday";

const SteppingCase endlessCases[] = {
    {day(2019, 3, 15), 0, allWeek, 1, "none"},
    {day(2019, 3, 15), 3, allWeek, -1, "none"},
    {day(2019, 3, 16), 0, weekend, 0, "none"},
    {day(2019, 12, 25), 0, weekend, 0, "none"},
    {day(2019, 3, 15), 0, weekend, 0, "2019-03-15"},
    {day(2019, 3, 15), most, weekend, 0, "2019-03-15"},  // every step meets the same day
    {day(2019, 3, 16), 0, weekend, 7, "none"},
    {day(2019, 3, 16), 0, weekend, -14, "none"},
    {day(2019, 3, 15), most, weekend, 1, "none"},
    {day(2019, 3, 15), most, weekend, -1, "none"},
    {day(2019, 3, 15), 1, weekend, most, "none"},
    {day(2019, 3, 15), 1, weekend, least, "none"},
    {day(2019, 3, 15), 0, weekend, most, "2019-03-15"},
    {day(1, 1, 2), 5, weekend, -1, "none"},
    {day(lastCalendarYear, 12, 30), 5, weekend, 1, "none"},
};

TEST(Stepping, ThatNeverArrivesGivesNoDate) {
  for (const SteppingCase& at : endlessCases) {
    EXPECT_EQ(text(ZDateUtilities::dateFromDate(at.from, at.count, at.daysOff, at.step)), at.result)
        << text(at.from) << ", " << at.count << ", \"" << at.daysOff << "\", " << at.step;
  }
}

TEST(Stepping, FromAnInstantThatIsNoDateMakesADateAtTheFirstStep) {
  const LocalZoneIs utcZone("UTC");
  const Timestamp friday = utc(2019, 3, 15, 20);
  testing::internal::CaptureStderr();
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(friday, 0, weekend, 1)), "2019-03-15 20:00:00");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(friday, 1, weekend, 1)), "2019-03-18");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(friday, 1, weekend, 0)), "2019-03-15");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(Timestamp(1e300), 1, weekend, 1)), "none");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(friday, -1, weekend, 1)), "2019-03-15 20:00:00");
  static_cast<void>(testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace ztp::test
