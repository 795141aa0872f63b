// ZDateUtilities: what a date is, how one is made, the current day, and coercion.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

// A number of seconds is not taken for an instant by mistake, and the classes have no instances.
static_assert(!std::is_convertible_v<double, Timestamp>);
static_assert(!std::is_convertible_v<Timestamp, double>);
static_assert(!std::is_default_constructible_v<ZDateUtilities>);
static_assert(!DatePicker<int>);

// The override of the current date, taken back at the end of a test.
class CurrentDateOverrideIs {
 public:
  explicit CurrentDateOverrideIs(Date date) { ZDateUtilities::setCurrentDateOverride(date); }
  ~CurrentDateOverrideIs() { ZDateUtilities::setCurrentDateOverride(std::nullopt); }
  CurrentDateOverrideIs(const CurrentDateOverrideIs&) = delete;
  CurrentDateOverrideIs& operator=(const CurrentDateOverrideIs&) = delete;
};

TEST(DateConstruction, MakesNoonUTCAndRollsMonthsAndDaysOver) {
  struct Case {
    std::int64_t year, month, day;
    const char* date;
  };
  const Case cases[] = {
      {2019, 3, 15, "2019-03-15"},
      {2020, 2, 30, "2020-03-01"},
      {2020, 13, 1, "2021-01-01"},
      {2020, 1, 32, "2020-02-01"},
      {2020, 12, 367, "2021-12-02"},
      {1, 1, 1, "0001-01-01"},
      {2020, 0, 1, "none"},
      {2020, 1, 0, "none"},
      {0, 1, 1, "none"},
      {-1, 1, 1, "none"},
      {2020, -1, 1, "none"},
      {2020, 1, -1, "none"},
      {most, 1, 1, "none"},
      {2020, most, 1, "none"},
      {2020, 1, most, "none"},
      {least, least, least, "none"},
      {lastCalendarYear + 1, 1, 1, "none"},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(text(ZDateUtilities::dateWithYear(at.year, at.month, at.day)), at.date);
  }
  EXPECT_EQ(ZDateUtilities::dateWithYear(2001, 1, 1)->secondsSinceReference(), 43'200.0);
}

TEST(DateConstruction, ValidatesYearMonthAndDay) {
  EXPECT_TRUE(ZDateUtilities::isValidYear(1));
  EXPECT_TRUE(ZDateUtilities::isValidYear(most));
  EXPECT_FALSE(ZDateUtilities::isValidYear(0));
  EXPECT_FALSE(ZDateUtilities::isValidYear(-1));
  EXPECT_TRUE(ZDateUtilities::isValidMonth(1));
  EXPECT_TRUE(ZDateUtilities::isValidMonth(12));
  EXPECT_FALSE(ZDateUtilities::isValidMonth(0));
  EXPECT_FALSE(ZDateUtilities::isValidMonth(13));
  struct Case {
    std::int64_t day, month, year;
    bool valid;
  };
  const Case cases[] = {
      {29, 2, 2100, false},   {29, 2, 2000, true}, {29, 2, 2024, true},
      {29, 2, 2023, false},   {31, 1, 2019, true}, {31, 4, 2019, false},
      {30, 4, 2019, true},    {0, 1, 2019, false}, {32, 1, 2019, false},
      {-1, 1, 2019, false},   {1, 0, 2019, false}, {1, 13, 2019, false},
      {1, 1, 0, false},       {1, 1, most, false}, {31, 12, lastCalendarYear, true},
      {most, 1, 2019, false},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(ZDateUtilities::isValidDay(at.day, at.month, at.year), at.valid)
        << at.year << '-' << at.month << '-' << at.day;
  }
}

TEST(DateConstruction, AnInstantIsADateAtNoonUTCAndNoOtherTime) {
  struct Case {
    std::optional<Timestamp> object;
    bool valid;
  };
  const Case cases[] = {
      {day(2019, 3, 15), true},
      {ZDateUtilities::dateWithYear(1900, 1, 1), true},
      {ZDateUtilities::dateWithYear(1, 1, 1), true},
      {Timestamp(43'200.0), true},
      {Timestamp(-43'200.0), true},
      {std::nullopt, false},
      {Timestamp(0.0), false},
      {utc(2019, 3, 15, 12, 0, 1), false},
      {utc(2019, 3, 15, 12, 0, 0, 0.5), false},
      {utc(1990, 3, 15, 11, 59, 59, 0.5), false},
      // Far beyond the calendar the rule is the same arithmetic.
      {Timestamp(43'200.0 + 86'400.0 * 1e10), true},
      {Timestamp(-43'200.0 - 86'400.0 * 1e10), true},
      {Timestamp(86'400.0 * 1e10), false},
      {Timestamp(std::numeric_limits<double>::quiet_NaN()), false},
      {Timestamp(std::numeric_limits<double>::infinity()), false},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(ZDateUtilities::isObjectValidDate(at.object), at.valid)
        << (at.object ? at.object->secondsSinceReference() : 0.0);
  }
}

TEST(DateConstruction, AnInstantBecomesTheDayThatItsZoneShows) {
  const Timestamp lateEvening = utc(2019, 3, 6, 4, 30);  // 23:30 on 5 March in New York
  EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(lateEvening, zone("America/New_York"))),
            "2019-03-05");
  EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(lateEvening, TimeZone::utc())), "2019-03-06");
  EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(std::nullopt, TimeZone::utc())), "none");
  for (const double seconds : {1e300, -1e300, -6.4e10, 1e15}) {
    EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(Timestamp(seconds), TimeZone::utc())), "none");
  }
  {
    const LocalZoneIs kiritimati("Pacific/Kiritimati");
    EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(utc(2019, 3, 5, 10), std::nullopt)),
              "2019-03-06");
  }
  const LocalZoneIs pagoPago("Pacific/Pago_Pago");
  EXPECT_EQ(text(ZDateUtilities::dateWithTimestamp(utc(2019, 3, 5, 10), std::nullopt)),
            "2019-03-04");
}

struct Picker {
  std::optional<Timestamp> picked;
  std::optional<TimeZone> shown;
  [[nodiscard]] std::optional<Timestamp> dateValue() const { return picked; }
  [[nodiscard]] std::optional<TimeZone> timeZone() const { return shown; }
};

TEST(DateConstruction, TakesTheDayThatAPickerShows) {
  const Timestamp evening = utc(2019, 3, 15, 20);
  EXPECT_EQ(text(ZDateUtilities::dateFromDatePicker(Picker{evening, zone("Asia/Tokyo")})),
            "2019-03-16");
  EXPECT_EQ(text(ZDateUtilities::dateFromDatePicker(Picker{evening, TimeZone::utc()})),
            "2019-03-15");
  EXPECT_EQ(text(ZDateUtilities::dateFromDatePicker(Picker{std::nullopt, TimeZone::utc()})),
            "none");
}

TEST(DateConstruction, TakesTheDayThatAFormatterReadsInItsZone) {
  const DateFormatter tokyo("yyyy-MM-dd HH:mm Z", zone("Asia/Tokyo"));
  EXPECT_EQ(text(ZDateUtilities::dateFromString("2019-03-15 20:00 +0000", tokyo)), "2019-03-16");
  const DateFormatter plain("MM/dd/yyyy", zone("America/New_York"));
  EXPECT_EQ(text(ZDateUtilities::dateFromString("03/15/2019", plain)), "2019-03-15");
  EXPECT_EQ(text(ZDateUtilities::dateFromString("3/15/2019", plain)), "none");
}

TEST(DateConstruction, HasDistantDatesAndAZoneOfItsOwn) {
  for (const char* name : {"America/New_York", "Pacific/Kiritimati", "UTC"}) {
    const LocalZoneIs local(name);
    EXPECT_EQ(text(ZDateUtilities::distantPast()), "0001-01-01");
    EXPECT_EQ(text(ZDateUtilities::distantFuture()), "4001-01-01");
  }
  EXPECT_EQ(ZDateUtilities::dateTimeZone(), TimeZone::utc());
  EXPECT_EQ(ZDateUtilities::dateTimeZone().secondsFromGMT(Timestamp()), 0);
  EXPECT_EQ(ZDateUtilities::_dateCalendar().timeZone(), TimeZone::utc());
}

TEST(CurrentDate, IsTheDayInTheLocalZone) {
  for (const char* name : {"Pacific/Kiritimati", "Pacific/Pago_Pago", "UTC"}) {
    const LocalZoneIs local(name);
    const auto before = ZDateUtilities::dateWithTimestamp(Timestamp::now(), std::nullopt);
    const Date current = ZDateUtilities::refreshCurrentDate();
    const auto after = ZDateUtilities::dateWithTimestamp(Timestamp::now(), std::nullopt);
    EXPECT_TRUE(current == before || current == after) << text(current);
    EXPECT_TRUE(ZDateUtilities::isObjectValidDate(current));
  }
  ZDateUtilities::refreshCurrentDate();
}

TEST(CurrentDate, StaysAsItIsUntilItIsRefreshed) {
  // Kiritimati and Pago Pago are 25 hours apart: never on the same day.
  const LocalZoneIs kiritimati("Pacific/Kiritimati");
  const Date there = ZDateUtilities::refreshCurrentDate();
  {
    const LocalZoneIs pagoPago("Pacific/Pago_Pago");
    EXPECT_EQ(text(ZDateUtilities::currentDate()), text(there));
    EXPECT_LT(ZDateUtilities::refreshCurrentDate(), there);
  }
  EXPECT_LT(ZDateUtilities::currentDate(), there);
  EXPECT_GE(ZDateUtilities::refreshCurrentDate(), there);
}

TEST(CurrentDate, FollowsAnOverrideThatARefreshDoesNotClear) {
  const Date real = ZDateUtilities::refreshCurrentDate();
  {
    const CurrentDateOverrideIs override(day(2020, 2, 29));
    EXPECT_EQ(text(ZDateUtilities::currentDate()), "2020-02-29");
    EXPECT_EQ(text(ZDateUtilities::yesterday()), "2020-02-28");
    EXPECT_EQ(text(ZDateUtilities::tomorrow()), "2020-03-01");
    EXPECT_EQ(text(ZDateUtilities::refreshCurrentDate()), "2020-02-29");
    EXPECT_EQ(text(ZDateUtilities::currentDate()), "2020-02-29");
  }
  EXPECT_GE(ZDateUtilities::currentDate(), real);
  EXPECT_EQ(
      ZDateUtilities::numberOfDaysFromDate(ZDateUtilities::yesterday(), ZDateUtilities::tomorrow()),
      2);
}

TEST(Coercion, LeavesDatesAloneAndSaysNothing) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(ZDateUtilities::_dateByCoercingObjectToValidDate(day(2019, 3, 15)), day(2019, 3, 15));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Coercion, TakesTheLocalDayOfAnyOtherInstantAndLogsOneLine) {
  const LocalZoneIs tokyo("Asia/Tokyo");
  testing::internal::CaptureStderr();
  EXPECT_EQ(text(ZDateUtilities::_dateByCoercingObjectToValidDate(utc(2019, 3, 15, 20, 30, 5))),
            "2019-03-16");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: Timestamp is not a valid date: 2019-03-15 20:30:05 +0000\n");
}

TEST(Coercion, GivesNoDateForNoInstantAndBeyondTheCalendar) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(text(ZDateUtilities::_dateByCoercingObjectToValidDate(std::nullopt)), "none");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: Timestamp is not a valid date: (null)\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(text(ZDateUtilities::_dateByCoercingObjectToValidDate(Timestamp(1e300))), "none");
  EXPECT_TRUE(
      testing::internal::GetCapturedStderr().starts_with("ERROR: Timestamp is not a valid date: "));
}

}  // namespace
}  // namespace ztp::test
