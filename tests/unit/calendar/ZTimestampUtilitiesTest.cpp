// ZTimestampUtilities: text forms, wall clocks, days; under several local zones.
#include "calendar/ZTimestampUtilities.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <thread>
#include <type_traits>

#include "CalendarTesting.h"
#include "calendar/ThreadDictionary.h"

namespace ztp::test {
namespace {

using Z = ZTimestampUtilities;

static_assert(!std::is_default_constructible_v<ZTimestampUtilities>);

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr const char* localZones[] = {"UTC", "America/New_York", "Pacific/Kiritimati",
                                      "Pacific/Pago_Pago", "Asia/Kathmandu"};

struct TextAndInstant {
  const char* text;
  const char* instant;
};

constexpr TextAndInstant isoTexts[] = {
    {"2019-03-15T13:30:00Z", "2019-03-15 13:30:00"},
    {"2019-03-15T13:30:00.250Z", "2019-03-15 13:30:00.25"},
    {"2019-03-15T12:00:00Z", "2019-03-15"},
    {"1969-12-31T23:59:59.999Z", "1969-12-31 23:59:59.999"},
    {"0001-01-01T00:00:00Z", "0001-01-01 00:00:00"},
    {"1582-10-15T00:00:00Z", "1582-10-15 00:00:00"},
    {"9999-12-31T23:59:59Z", "9999-12-31 23:59:59"},
    {"2020-02-29T00:00:00Z", "2020-02-29 00:00:00"},
    {"2019-03-15 13:30:00", "none"},
    {"2019-03-15T13:30:00", "none"},
    {"2019-03-15T13:30:00z", "none"},
    {"2019-03-15t13:30:00Z", "none"},
    {"2019-03-15T13:30:00ZZ", "none"},
    {"2019-03-15T13:30:00Z ", "none"},
    {" 2019-03-15T13:30:00Z", "none"},
    {"2019-3-15T13:30:00Z", "none"},
    {"19-03-15T13:30:00Z", "none"},
    {"02019-03-15T13:30:00Z", "none"},
    {"+019-03-15T13:30:00Z", "none"},
    {"2019-03-15T24:00:00Z", "none"},
    {"2019-03-15T13:60:00Z", "none"},
    {"2019-03-15T13:30:60Z", "none"},
    {"2019-13-15T13:30:00Z", "none"},
    {"2019-00-15T13:30:00Z", "none"},
    {"2019-02-29T13:30:00Z", "none"},
    {"2019-03-00T13:30:00Z", "none"},
    {"1582-10-10T00:00:00Z", "none"},
    {"0000-03-15T13:30:00Z", "none"},
    {"2019-03-15T13:30:00.25Z", "none"},
    {"2019-03-15T13:30:00.2500Z", "none"},
    {"2019-03-15T13:30:00.Z", "none"},
    {"2019-03-15T13:30:00,250Z", "none"},
    {"2019-03-15T13:30:00.2 0Z", "none"},
    {"2019-03-15T13:30:00.250", "none"},
    {"2019-03-15T13:30:00.250+00:00", "none"},
    {"2019/03/15T13:30:00Z", "none"},
    {"", "none"},
    {".", "none"},
};

TEST(TimestampText, ReadsISO8601WithAndWithoutMilliseconds) {
  for (const char* local : localZones) {
    const LocalZoneIs here(local);
    for (const TextAndInstant& at : isoTexts) {
      EXPECT_EQ(text(Z::timestampFromISO8601String(at.text)), at.instant) << at.text;
    }
  }
}

TEST(TimestampText, MillisecondsComeThroughTheSecondAttemptOnly) {
  const DateFormatter& first = Z::_threadLocalISO8601GMTDateFormatter();
  const DateFormatter& second = Z::_threadLocalISO8601WithMillisecondsGMTDateFormatter();
  EXPECT_FALSE(first.timestampFromString("2019-03-15T13:30:00.250Z"));
  EXPECT_TRUE(second.timestampFromString("2019-03-15T13:30:00.250Z"));
  EXPECT_FALSE(second.timestampFromString("2019-03-15T13:30:00Z"));
}

TEST(TimestampText, PrintsISO8601InWholeSeconds) {
  struct Case {
    Timestamp instant;
    const char* text;
  };
  const Case cases[] = {
      {utc(2019, 3, 15, 13, 30, 0), "2019-03-15T13:30:00Z"},
      {utc(2019, 3, 15, 13, 30, 0, 0.25), "2019-03-15T13:30:00Z"},
      {utc(2019, 3, 15, 23, 59, 59, 0.9999), "2019-03-15T23:59:59Z"},
      {utc(1999, 12, 31, 23, 59, 59, 0.75), "1999-12-31T23:59:59Z"},
      {Timestamp(-0.001), "2000-12-31T23:59:59Z"},
      {utc(1, 1, 1), "0001-01-01T00:00:00Z"},
      {utc(1582, 10, 4, 23, 59, 59), "1582-10-04T23:59:59Z"},
      {utc(9999, 12, 31, 23, 59, 59), "9999-12-31T23:59:59Z"},
      {utc(12'345, 1, 1), "12345-01-01T00:00:00Z"},
  };
  for (const char* local : localZones) {
    const LocalZoneIs here(local);
    for (const Case& at : cases) EXPECT_EQ(Z::ISO8601StringFromTimestamp(at.instant), at.text);
  }
  EXPECT_EQ(Z::ISO8601StringFromTimestamp(std::nullopt), std::nullopt);
  for (const double seconds : {1e300, -1e300, -6.4e10, std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(Z::ISO8601StringFromTimestamp(Timestamp(seconds)), std::nullopt);
  }
}

constexpr TextAndInstant rfcTexts[] = {
    {"Fri, 15 Mar 2019 13:30:00 +0000", "2019-03-15 13:30:00"},
    {"Fri, 15 Mar 2019 13:30:00 GMT", "2019-03-15 13:30:00"},
    {"Fri, 15 Mar 2019 13:30:00 -0500", "2019-03-15 18:30:00"},
    {"Fri, 15 Mar 2019 13:30:00 +0545", "2019-03-15 07:45:00"},
    {"FRI, 15 mar 2019 13:30:00 gmt", "2019-03-15 13:30:00"},
    {"Mon, 15 Mar 2019 13:30:00 +0000", "2019-03-15 13:30:00"},  // any weekday's name
    {"Sun, 06 Nov 1994 08:49:37 GMT", "1994-11-06 08:49:37"},
    {"Fri, 15 Mar 2019 13:30:00 EST", "none"},
    {"Fri, 15 Mar 2019 13:30:00 UTC", "none"},
    {"Fri, 15 Mar 2019 13:30:00 Z", "none"},
    {"Fri, 15 Mar 2019 13:30:00 0000", "none"},
    {"Fri, 15 Mar 2019 13:30:00 +00:00", "none"},
    {"Fri, 15 Mar 2019 13:30:00 +2400", "none"},
    {"Fri, 15 Mar 2019 13:30:00 +0060", "none"},
    {"Fri, 15 Mar 2019 13:30:00 +000", "none"},
    {"Fri, 15 Mar 2019 13:30:00 +00000", "none"},
    {"Fri, 15 Mar 2019 13:30:00 ", "none"},
    {"Fri, 15 Mar 2019 13:30:00", "none"},
    {"Fri, 5 Mar 2019 13:30:00 +0000", "none"},
    {"Fri,15 Mar 2019 13:30:00 +0000", "none"},
    {"Fri 15 Mar 2019 13:30:00 +0000", "none"},
    {"Xyz, 15 Mar 2019 13:30:00 +0000", "none"},
    {"Fri, 15 Xyz 2019 13:30:00 +0000", "none"},
    {"Frv, 15 Mar 2019 13:30:00 +0000", "none"},
    {"Friday, 15 Mar 2019 13:30:00 +0000", "none"},
    {"Fri, 15 March 2019 13:30:00 +0000", "none"},
    {"Fri, 15 Mar 19 13:30:00 +0000", "none"},
    {"Fri, 32 Mar 2019 13:30:00 +0000", "none"},
    {"Fri, 29 Feb 2019 13:30:00 +0000", "none"},
    {"Fri, 15 Mar 2019 24:30:00 +0000", "none"},
    {"Fri, 15 Mar 2019 13:30:60 +0000", "none"},
    {"Fri, 15 Mar 2019 13-30:00 +0000", "none"},
    {"Fri, 15 M\xE4r 2019 13:30:00 +0000", "none"},
    {"", "none"},
};

TEST(TimestampText, ReadsRFC1123) {
  for (const char* local : localZones) {
    const LocalZoneIs here(local);
    for (const TextAndInstant& at : rfcTexts) {
      EXPECT_EQ(text(Z::timestampFromRFC1123String(at.text)), at.instant) << at.text;
    }
  }
}

TEST(TimestampText, PrintsEasternTimeForDisplay) {
  for (const char* local : localZones) {
    const LocalZoneIs here(local);
    EXPECT_EQ(Z::ISO8601ESTStringFromTimestamp(utc(2019, 7, 1, 12)), "2019-07-01 08:00:00");
    EXPECT_EQ(Z::ISO8601ESTStringFromTimestamp(utc(2019, 1, 1, 12)), "2019-01-01 07:00:00");
    EXPECT_EQ(Z::ISO8601ESTStringFromTimestamp(utc(2019, 1, 1, 3, 0, 0, 0.5)),
              "2018-12-31 22:00:00");
  }
  EXPECT_EQ(Z::ISO8601ESTStringFromTimestamp(std::nullopt), std::nullopt);
  EXPECT_EQ(Z::estTimeZone(), zone("America/New_York"));
}

constexpr TextAndInstant testCaseTexts[] = {
    {"03/15/2019 01:30:00PM", "2019-03-15 17:30:00"},
    {"03/15/2019 01:30:00AM", "2019-03-15 05:30:00"},
    {"03/15/2019 12:00:00AM", "2019-03-15 04:00:00"},
    {"03/15/2019 12:00:00PM", "2019-03-15 16:00:00"},
    {"01/15/2019 12:59:59PM", "2019-01-15 17:59:59"},
    {"03/15/2019 01:30:00pm", "2019-03-15 17:30:00"},
    {"03/15/2019 13:30:00PM", "none"},
    {"03/15/2019 00:30:00AM", "none"},
    {"03/15/2019 01:30:00 PM", "none"},
    {"03/15/2019 01:30:00", "none"},
    {"3/15/2019 01:30:00PM", "none"},
    {"03/15/2019 1:30:00PM", "none"},
    {"15/03/2019 01:30:00PM", "none"},
};

TEST(TimestampText, ReadsTestCasesInTheLocalZone) {
  const LocalZoneIs newYork("America/New_York");
  for (const TextAndInstant& at : testCaseTexts) {
    EXPECT_EQ(text(Z::timestampFromZanburyTestCaseString(at.text)), at.instant) << at.text;
  }
  const LocalZoneIs tokyo("Asia/Tokyo");
  EXPECT_EQ(text(Z::timestampFromZanburyTestCaseString("03/15/2019 01:30:00PM")),
            "2019-03-15 04:30:00");
}

TEST(WallClock, ADateAndATimeMakeAnInstantInTheZone) {
  struct Case {
    Date date;
    const char* zone;
    std::int64_t hour, minute, second;
    const char* instant;
  };
  const Case cases[] = {
      {day(2019, 3, 10), "America/New_York", 0, 0, 0, "2019-03-10 05:00:00"},
      {day(2019, 3, 10), "America/New_York", 12, 0, 0, "2019-03-10 16:00:00"},
      {day(2019, 3, 10), "America/New_York", 2, 30, 0, "2019-03-10 07:30:00"},  // skipped
      {day(2019, 11, 3), "America/New_York", 1, 30, 0, "2019-11-03 05:30:00"},  // the first
      {day(2019, 3, 10), "Asia/Tokyo", 0, 0, 0, "2019-03-09 15:00:00"},
      {day(2019, 3, 10), "UTC", 25, 61, 61, "2019-03-11 02:02:01"},
      {day(2019, 3, 10), "UTC", -1, -1, -1, "2019-03-09 22:58:59"},
      {day(2019, 3, 10), "UTC", 0, 0, 864'000, "2019-03-20 00:00:00"},
      {day(2018, 11, 4), "America/Sao_Paulo", 0, 0, 0, "2018-11-04 03:00:00"},  // begins at 1:00
      {day(2019, 3, 10), "UTC", most, 0, 0, "none"},
      {day(2019, 3, 10), "UTC", 0, least, 0, "none"},
      {day(2019, 3, 10), "UTC", 0, 0, most, "none"},
      {day(2019, 3, 10), "UTC", most, most, most, "none"},
      {day(1, 1, 1), "UTC", -1, 0, 0, "none"},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(text(Z::timestampWithDate(at.date, zone(at.zone), at.hour, at.minute, at.second)),
              at.instant)
        << text(at.date) << ' ' << at.zone;
    const LocalZoneIs local(at.zone);
    EXPECT_EQ(text(Z::timestampWithDate(at.date, std::nullopt, at.hour, at.minute, at.second)),
              at.instant)
        << text(at.date) << ' ' << at.zone;
  }
}

TEST(WallClock, MidnightAndNoonOfADate) {
  const TimeZone newYork = zone("America/New_York");
  EXPECT_EQ(text(Z::timestampAtMidnightOnDate(day(2019, 3, 10), newYork)), "2019-03-10 05:00:00");
  EXPECT_EQ(text(Z::timestampAtNoonOnDate(day(2019, 3, 10), newYork)), "2019-03-10 16:00:00");
  EXPECT_EQ(text(Z::timestampWithDate(std::nullopt, newYork, 0, 0, 0)), "none");
  EXPECT_EQ(text(Z::timestampAtMidnightOnDate(std::nullopt, newYork)), "none");
  EXPECT_EQ(text(Z::timestampAtNoonOnDate(std::nullopt, std::nullopt)), "none");
}

TEST(WallClock, FieldsOfAnInstantInAZone) {
  struct Case {
    Timestamp instant;
    const char* zone;
    DateComponents fields;
  };
  const Case cases[] = {
      {utc(2019, 3, 10, 6, 59, 59, 0.75), "America/New_York", {2019, 3, 10, 1, 59, 59}},
      {utc(2019, 3, 10, 7, 0, 0), "America/New_York", {2019, 3, 10, 3, 0, 0}},
      {utc(2019, 3, 6, 4, 30), "America/New_York", {2019, 3, 5, 23, 30, 0}},
      {utc(2019, 12, 31, 20, 0), "Asia/Tokyo", {2020, 1, 1, 5, 0, 0}},
      {utc(2019, 7, 1, 0, 0), "Asia/Kathmandu", {2019, 7, 1, 5, 45, 0}},
      {utc(1, 1, 1), "UTC", {1, 1, 1, 0, 0, 0}},
      {utc(1582, 10, 15), "UTC", {1582, 10, 15, 0, 0, 0}},
      {Timestamp(-0.5), "UTC", {2000, 12, 31, 23, 59, 59}},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(Z::componentsForTimestamp(at.instant, zone(at.zone)), at.fields) << text(at.instant);
    const LocalZoneIs local(at.zone);
    EXPECT_EQ(Z::componentsForTimestamp(at.instant, std::nullopt), at.fields) << text(at.instant);
  }
  EXPECT_EQ(Z::componentsForTimestamp(std::nullopt, TimeZone::utc()), std::nullopt);
  EXPECT_EQ(Z::componentsForTimestamp(Timestamp(1e300), TimeZone::utc()), std::nullopt);
  // 31 December of the year before the first.
  EXPECT_EQ(Z::componentsForTimestamp(utc(1, 1, 1), zone("America/New_York")), std::nullopt);
}

struct DayCountCase {
  Timestamp from, to;
  std::int64_t days;
};

const DayCountCase dayCounts[] = {
    {utc(2019, 6, 1, 12), utc(2019, 6, 3, 11), 1},  // 47 hours
    {utc(2019, 6, 3, 11), utc(2019, 6, 1, 12), -1},
    {utc(2019, 6, 1, 12), utc(2019, 6, 2, 12), 1},
    {utc(2019, 6, 1, 12), utc(2019, 6, 2, 11, 59, 59), 0},
    {utc(2019, 6, 2, 11, 59, 59), utc(2019, 6, 1, 12), 0},
    {utc(2019, 6, 1, 12), utc(2019, 6, 1, 12), 0},
    {utc(2019, 6, 1, 12, 0, 0, 0.5), utc(2019, 6, 2, 12, 0, 0, 0.25), 0},
    {utc(2019, 6, 1, 12), utc(2020, 6, 1, 12), 366},
    // From noon before the clocks go forward to noon after: 23 hours are a day, 22:59:59 are none.
    {utc(2019, 3, 9, 17), utc(2019, 3, 10, 16), 1},
    {utc(2019, 3, 9, 17), utc(2019, 3, 10, 15, 59, 59), 0},
    // And back: 25 hours are a day, 24 are none.
    {utc(2019, 11, 2, 16), utc(2019, 11, 3, 17), 1},
    {utc(2019, 11, 2, 16), utc(2019, 11, 3, 16), 0},
    {utc(2019, 11, 3, 17), utc(2019, 11, 2, 16), -1},
};

TEST(Days, BetweenInstantsAreWholeDaysOfTheLocalClock) {
  const LocalZoneIs newYork("America/New_York");
  for (const DayCountCase& at : dayCounts) {
    EXPECT_EQ(Z::numberOfDaysFromTimestamp(at.from, at.to), at.days)
        << text(at.from) << " to " << text(at.to);
  }
  EXPECT_EQ(Z::numberOfDaysFromTimestamp(utc(2019, 6, 1), std::nullopt), 0);
  EXPECT_EQ(Z::numberOfDaysFromTimestamp(utc(2019, 6, 1), Timestamp(1e300)), 0);
}

TEST(Days, AreCountedWhereAClockLeavesOutADayOrRepeatsAMidnight) {
  {
    // Samoa had no 30 December 2011: from noon on the 28th to noon on the 31st are three days of
    // the clock, and an hour less reaches the 29th only, as the 30th is read past the end.
    const LocalZoneIs apia("Pacific/Apia");
    EXPECT_EQ(Z::numberOfDaysFromTimestamp(utc(2011, 12, 28, 22), utc(2011, 12, 30, 22)), 3);
    EXPECT_EQ(Z::numberOfDaysFromTimestamp(utc(2011, 12, 28, 22), utc(2011, 12, 30, 21)), 1);
  }
  // Newfoundland set its clocks back from 00:01 to 23:01: half a minute past midnight came before
  // 23:30.
  const LocalZoneIs stJohns("America/St_Johns");
  EXPECT_EQ(Z::numberOfDaysFromTimestamp(utc(2009, 10, 31, 2, 30, 30), utc(2009, 11, 1, 3, 0)), 1);
}

TEST(Days, AddedKeepTheTimeOfTheLocalClock) {
  const LocalZoneIs newYork("America/New_York");
  struct Case {
    std::int64_t days;
    Timestamp from;
    const char* result;
  };
  const Case cases[] = {
      {1, utc(2019, 3, 9, 17), "2019-03-10 16:00:00"},
      {-1, utc(2019, 3, 10, 16), "2019-03-09 17:00:00"},
      {1, utc(2019, 3, 9, 7, 30), "2019-03-10 07:30:00"},   // 2:30 is skipped
      {1, utc(2019, 11, 2, 5, 30), "2019-11-03 05:30:00"},  // 1:30 comes twice: the first
      {-1, utc(2019, 11, 4, 6, 30), "2019-11-03 05:30:00"},
      {0, utc(2019, 11, 3, 6, 30), "2019-11-03 06:30:00"},  // no days: the instant itself
      {30, utc(2019, 6, 1, 12, 0, 0, 0.25), "2019-07-01 12:00:00.25"},
      {most, utc(2019, 6, 1), "none"},
      {least, utc(2019, 6, 1), "none"},
      {-800'000, utc(2019, 6, 1), "none"},
  };
  for (const Case& at : cases) {
    EXPECT_EQ(text(Z::timestampByAddingDays(at.days, at.from)), at.result) << text(at.from);
  }
  EXPECT_EQ(text(Z::timestampByAddingDays(1, std::nullopt)), "none");
  EXPECT_EQ(text(Z::timestampByAddingDays(1, Timestamp(1e300))), "none");
}

TEST(Zones, TheCurrentOneAndTheCurrentCalendarFollowTheSetting) {
  const Calendar calendar = Z::_currentCalendar();
  for (const char* name : {"America/New_York", "Asia/Tokyo"}) {
    const LocalZoneIs local(name);
    EXPECT_EQ(Z::currentTimeZone(), zone(name));
    EXPECT_EQ(calendar.timeZone(), zone(name));
    EXPECT_EQ(calendar.withTimeZone(TimeZone::utc()).timeZone(), TimeZone::utc());
    EXPECT_EQ(calendar.timeZone(), zone(name));
  }
}

TEST(Zones, FieldsCanBringAZoneOfTheirOwn) {
  const Calendar tokyo(zone("Asia/Tokyo"));
  EXPECT_EQ(text(tokyo.timestampFromComponents({2019, 3, 10, 21, 0, 0})), "2019-03-10");
  EXPECT_EQ(text(tokyo.timestampFromComponents({2019, 3, 10, 12, 0, 0, TimeZone::utc()})),
            "2019-03-10");
  EXPECT_EQ(text(tokyo.timestampFromComponents({2019, 14, 1, 9, 0, 0})), "2020-02-01 00:00:00");
}

struct ThreadFormatter {
  const DateFormatter& (*get)(std::string_view);
  const char* key;
  const char* pattern;
};

constexpr ThreadFormatter threadFormatters[] = {
    {Z::_threadLocalISO8601GMTDateFormatter, "ZTimestampUtilities:ISO8601DateFormatter",
     "yyyy-MM-dd'T'HH:mm:ss'Z'"},
    {Z::_threadLocalRCF1123GMTDateFormatter, "ZTimestampUtilities:RCF1123DateFormatter",
     "EEE, dd MMM yyyy HH':'mm':'ss Z"},
    {Z::_threadLocalISO8601WithMillisecondsGMTDateFormatter,
     "ZTimestampUtilities:ISO8601WithMillisecondsDateFormatter", "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"},
};

TEST(ThreadFormatters, AreMadeOnceAThreadUnderTheirKeys) {
  std::thread([] {
    for (const ThreadFormatter& at : threadFormatters) {
      SCOPED_TRACE(at.key);
      EXPECT_EQ(ThreadDictionary::current().find(at.key), nullptr);
      const DateFormatter& made = at.get(Z::className);
      EXPECT_EQ(ThreadDictionary::current().find(at.key).get(), &made);
      EXPECT_EQ(&at.get(Z::className), &made);
      EXPECT_EQ(made.pattern(), at.pattern);
      EXPECT_EQ(made.timeZone(), TimeZone::utc());
    }
    EXPECT_EQ(ThreadDictionary::current().size(), 3U);
  }).join();
}

TEST(ThreadFormatters, OfAnotherClassAreItsOwn) {
  const DateFormatter& own = Z::_threadLocalISO8601GMTDateFormatter();
  const DateFormatter& derived = Z::_threadLocalISO8601GMTDateFormatter("DerivedUtilities");
  EXPECT_NE(&own, &derived);
  EXPECT_EQ(&derived, &Z::_threadLocalISO8601GMTDateFormatter("DerivedUtilities"));
  EXPECT_EQ(ThreadDictionary::current().find("DerivedUtilities:ISO8601DateFormatter").get(),
            &derived);
}

TEST(ThreadFormatters, AreNeverSharedAndGoWithTheirThread) {
  const DateFormatter* here = &Z::_threadLocalISO8601GMTDateFormatter();
  std::weak_ptr<const DateFormatter> there;
  std::thread([here, &there] {
    EXPECT_NE(&Z::_threadLocalISO8601GMTDateFormatter(), here);
    there = ThreadDictionary::current().find("ZTimestampUtilities:ISO8601DateFormatter");
    EXPECT_FALSE(there.expired());
  }).join();
  EXPECT_TRUE(there.expired());
}

}  // namespace
}  // namespace ztp::test
