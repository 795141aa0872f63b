// ZDateUtilities: questions about a date, and the assertions of their parameters.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "CalendarTesting.h"
#include "calendar/ParameterAssertion.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::test {
namespace {

struct QueriedDate {
  Date date;
  int dayOfWeek, nth, weekOfMonth, dayOfMonth, lastDay, month, dayOfYear, year, weekOfYear;
};

const QueriedDate queriedDates[] = {
    {day(2019, 3, 29), 6, 5, 5, 29, 31, 3, 88, 2019, 13},
    {day(2019, 3, 1), 6, 1, 1, 1, 31, 3, 60, 2019, 9},
    {day(2019, 3, 2), 7, 1, 1, 2, 31, 3, 61, 2019, 9},
    {day(2019, 3, 3), 1, 1, 2, 3, 31, 3, 62, 2019, 10},
    {day(2019, 3, 7), 5, 1, 2, 7, 31, 3, 66, 2019, 10},
    {day(2019, 3, 8), 6, 2, 2, 8, 31, 3, 67, 2019, 10},
    {day(2019, 3, 31), 1, 5, 6, 31, 31, 3, 90, 2019, 14},
    {day(2020, 2, 29), 7, 5, 5, 29, 29, 2, 60, 2020, 9},
    {day(2020, 12, 31), 5, 5, 5, 31, 31, 12, 366, 2020, 1},
    {day(2019, 1, 1), 3, 1, 1, 1, 31, 1, 1, 2019, 1},
    {day(2018, 12, 29), 7, 5, 5, 29, 31, 12, 363, 2018, 52},
    {day(2018, 12, 30), 1, 5, 6, 30, 31, 12, 364, 2018, 1},
    {day(2016, 12, 31), 7, 5, 5, 31, 31, 12, 366, 2016, 53},
    {day(1582, 10, 15), 6, 1, 1, 15, 31, 10, 278, 1582, 40},
    {day(1, 1, 1), 7, 1, 1, 1, 31, 1, 1, 1, 1},
};

TEST(DateQueries, AnswerOfTheDate) {
  for (const QueriedDate& at : queriedDates) {
    SCOPED_TRACE(text(at.date));
    EXPECT_EQ(ZDateUtilities::dayOfWeekForDate(at.date), at.dayOfWeek);
    EXPECT_EQ(ZDateUtilities::nthWeekdayOfMonthForDate(at.date), at.nth);
    EXPECT_EQ(ZDateUtilities::weekOfMonthForDate(at.date), at.weekOfMonth);
    EXPECT_EQ(ZDateUtilities::dayOfMonthForDate(at.date), at.dayOfMonth);
    EXPECT_EQ(ZDateUtilities::lastDayOfMonthForDate(at.date), at.lastDay);
    EXPECT_EQ(ZDateUtilities::monthOfYearForDate(at.date), at.month);
    EXPECT_EQ(ZDateUtilities::dayOfYearForDate(at.date), at.dayOfYear);
    EXPECT_EQ(ZDateUtilities::yearForDate(at.date), at.year);
    EXPECT_EQ(ZDateUtilities::weekOfYearForDate(at.date), at.weekOfYear);
  }
}

TEST(DateQueries, ReadDatesInUTCWhateverTheLocalZone) {
  for (const char* name : {"Pacific/Kiritimati", "Pacific/Pago_Pago", "Asia/Kathmandu"}) {
    const LocalZoneIs local(name);
    EXPECT_EQ(ZDateUtilities::dayOfMonthForDate(day(2019, 3, 29)), 29) << name;
    EXPECT_EQ(ZDateUtilities::dayOfWeekForDate(day(2019, 3, 29)), 6) << name;
  }
}

TEST(DateQueries, CountDaysBetweenDates) {
  struct Case {
    Date from, to;
    std::int64_t days;
  };
  const Case cases[] = {
      {day(2019, 3, 10), day(2019, 3, 1), -9},
      {day(2019, 3, 1), day(2019, 3, 10), 9},
      {day(2019, 3, 10), day(2019, 3, 10), 0},
      {day(2019, 1, 1), day(2020, 1, 1), 365},
      {day(1582, 10, 4), day(1582, 10, 15), 1},
      {day(2001, 1, 1), day(4001, 1, 1), 730'485},
      {day(1, 1, 1), day(lastCalendarYear, 12, 31), 1'826'212'501},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(ZDateUtilities::numberOfDaysFromDate(at.from, at.to), at.days);
  }
}

TEST(DateQueries, CoerceAnInstantThatIsNoDate) {
  const LocalZoneIs tokyo("Asia/Tokyo");
  const Timestamp evening = utc(2019, 3, 15, 20);  // the 16th in Tokyo
  testing::internal::CaptureStderr();
  EXPECT_EQ(ZDateUtilities::dayOfMonthForDate(evening), 16);
  EXPECT_EQ(ZDateUtilities::dayOfWeekForDate(evening), 7);
  EXPECT_EQ(ZDateUtilities::numberOfDaysFromDate(evening, day(2019, 3, 17)), 1);
  EXPECT_TRUE(ZDateUtilities::dateContainsTimestamp(evening, day(2019, 3, 16), TimeZone::utc()));
  const std::string line = "ERROR: Timestamp is not a valid date: 2019-03-15 20:00:00 +0000\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line + line + line);
}

TEST(DateQueries, AreZeroBeyondTheCalendar) {
  const Timestamp far(43'200.0 + 86'400.0 * 1e10);  // noon UTC, but of no day of the calendar
  EXPECT_EQ(ZDateUtilities::dayOfWeekForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::nthWeekdayOfMonthForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::weekOfMonthForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::dayOfMonthForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::lastDayOfMonthForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::monthOfYearForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::dayOfYearForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::yearForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::weekOfYearForDate(far), 0);
  EXPECT_EQ(ZDateUtilities::numberOfDaysFromDate(far, day(2019, 1, 1)), 0);
  EXPECT_FALSE(ZDateUtilities::dateContainsTimestamp(far, far, TimeZone::utc()));
  EXPECT_FALSE(ZDateUtilities::componentsFromDate(far));
}

TEST(DateQueries, ADateContainsTheInstantsOfItsDayInTheZone) {
  struct Case {
    Timestamp instant;
    const char* zone;
    bool contained;
  };
  const Case cases[] = {
      {utc(2019, 3, 10, 4, 59, 59), "America/New_York", false},
      {utc(2019, 3, 10, 5, 0, 0), "America/New_York", true},
      {utc(2019, 3, 11, 3, 59, 59), "America/New_York", true},  // the day has 23 hours
      {utc(2019, 3, 11, 4, 0, 0), "America/New_York", false},
      {utc(2019, 3, 9, 15, 0, 0), "Asia/Tokyo", true},
      {utc(2019, 3, 10, 15, 0, 0), "Asia/Tokyo", false},
      {utc(2018, 3, 10, 12, 0, 0), "UTC", false},
      {utc(2019, 4, 10, 12, 0, 0), "UTC", false},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(ZDateUtilities::dateContainsTimestamp(day(2019, 3, 10), at.instant, zone(at.zone)),
              at.contained)
        << text(at.instant) << ' ' << at.zone;
    const LocalZoneIs local(at.zone);
    EXPECT_EQ(ZDateUtilities::dateContainsTimestamp(day(2019, 3, 10), at.instant, std::nullopt),
              at.contained)
        << text(at.instant) << ' ' << at.zone;
  }
}

TEST(DateQueries, FieldsOfADateAreNotCoerced) {
  const LocalZoneIs tokyo("Asia/Tokyo");
  EXPECT_EQ(ZDateUtilities::componentsFromDate(utc(2019, 3, 15, 20)), (CivilDate{2019, 3, 15}));
  EXPECT_EQ(ZDateUtilities::componentsFromDate(day(2019, 3, 15)), (CivilDate{2019, 3, 15}));
  EXPECT_EQ(ZDateUtilities::componentsFromDate(std::nullopt), std::nullopt);
}

TEST(DateQueries, TheOccurrenceOfAWeekdayIsCountedInTheMonthOfTheInstantAsItStands) {
  // The 31st in UTC, the 1st in Tokyo: the month is March, the weekday that of Monday, 1 April.
  const LocalZoneIs tokyo("Asia/Tokyo");
  testing::internal::CaptureStderr();
  EXPECT_EQ(ZDateUtilities::nthWeekdayOfMonthForDate(utc(2019, 3, 31, 20)), 4);
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

struct AssertionCase {
  std::function<void()> call;
  const char* fileName;
  int line;
  const char* description;
};

std::vector<AssertionCase> assertionCases() {
  using Z = ZDateUtilities;
  const char* one = "Invalid parameter not satisfying: inDate != nil";
  const char* two = "Invalid parameter not satisfying: inStartDate != nil && inEndDate != nil";
  const char* both = "Invalid parameter not satisfying: inDate != nil && inTimestamp != nil";
  const char* start =
      "Invalid parameter not satisfying: inStartTimestamp != nil && inStartTimestamp != nil";
  const std::optional<Date> none;
  const Date date = day(2019, 3, 15);
  const char* file = "ZDateUtilities";
  return {
      {[=] { static_cast<void>(Z::numberOfDaysFromDate(none, date)); }, file, 1026, two},
      {[=] { static_cast<void>(Z::numberOfDaysFromDate(date, none)); }, file, 1026, two},
      {[=] { static_cast<void>(Z::dayOfWeekForDate(none)); }, file, 1045, one},
      {[=] { static_cast<void>(Z::nthWeekdayOfMonthForDate(none)); }, file, 1065, one},
      {[=] { static_cast<void>(Z::weekOfMonthForDate(none)); }, file, 1088, one},
      {[=] { static_cast<void>(Z::dayOfMonthForDate(none)); }, file, 1108, one},
      {[=] { static_cast<void>(Z::lastDayOfMonthForDate(none)); }, file, 1126, one},
      {[=] { static_cast<void>(Z::monthOfYearForDate(none)); }, file, 1144, one},
      {[=] { static_cast<void>(Z::dayOfYearForDate(none)); }, file, 1162, one},
      {[=] { static_cast<void>(Z::yearForDate(none)); }, file, 1178, one},
      {[=] { static_cast<void>(Z::weekOfYearForDate(none)); }, file, 1196, one},
      {[=] { static_cast<void>(Z::dateContainsTimestamp(none, date, TimeZone::utc())); }, file,
       1216, both},
      {[=] { static_cast<void>(Z::dateContainsTimestamp(date, none, TimeZone::utc())); }, file,
       1216, both},
      {[=] { static_cast<void>(ZTimestampUtilities::numberOfDaysFromTimestamp(none, date)); },
       "ZTimestampUtilities", 206, start},
      {[=] { static_cast<void>(ZTimestampUtilities::numberOfDaysFromTimestamp(none, none)); },
       "ZTimestampUtilities", 206, start},
  };
}

TEST(ParameterAssertions, CarryFileNameLineAndDescription) {
  for (const AssertionCase& at : assertionCases()) {
    SCOPED_TRACE(at.line);
    try {
      at.call();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const ParameterAssertion& assertion) {
      EXPECT_EQ(assertion.fileName(), at.fileName);
      EXPECT_EQ(assertion.line(), at.line);
      EXPECT_EQ(assertion.description(), at.description);
    }
  }
}

}  // namespace
}  // namespace ztp::test
