// TimeZone: names, the local zone and how it is found, abbreviations, offsets around changes.
#include "calendar/TimeZone.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>
#include <system_error>

#include "CalendarTesting.h"

namespace ztp::test {
namespace {

TEST(TimeZone, ThatTheSystemDoesNotHaveIsNone) {
  for (const char* name :
       {"America/Nowhere", "", "america/new_york ", "../zoneinfo/America/New_York",
        "/usr/share/zoneinfo/America/New_York", "America", "Fixed/UTC+05:00:00", "libc:localtime",
        "America/New_York\n", "zone.tab", "UTC0"}) {
    EXPECT_FALSE(TimeZone::named(name)) << name;
  }
  EXPECT_FALSE(TimeZone::named(std::string(10'000, 'A')));
  EXPECT_FALSE(TimeZone::named(std::string_view("UTC\0", 4)));
}

TEST(TimeZone, OfTheSameNameIsTheSame) {
  EXPECT_EQ(zone("America/New_York"), zone("America/New_York"));
  EXPECT_NE(zone("America/New_York"), zone("America/Toronto"));
  EXPECT_EQ(zone("UTC"), TimeZone::utc());
  EXPECT_EQ(zone("America/New_York").name(), "America/New_York");
  EXPECT_EQ(TimeZone::utc().name(), "UTC");
}

TEST(TimeZone, OfAFixedOffsetHasItAtAllTimes) {
  struct Case {
    std::int64_t offset;
    const char* name;
  };
  for (const Case& at : {Case{-18'000, "GMT-0500"},
                         {20'700, "GMT+0545"},
                         {-1, "GMT-000001"},
                         {0, "UTC"},
                         {86'399, "GMT+235959"}}) {
    const std::optional<TimeZone> fixed = TimeZone::fixed(at.offset);
    ASSERT_TRUE(fixed);
    EXPECT_EQ(fixed->name(), at.name);
    EXPECT_EQ(fixed->secondsFromGMT(utc(2019, 7, 1)), at.offset);
    EXPECT_EQ(fixed->secondsFromGMT(utc(1019, 7, 1)), at.offset);
    EXPECT_EQ(fixed->secondsFromGMTAtWallClock(std::numeric_limits<std::int64_t>::max()),
              at.offset);
    EXPECT_EQ(fixed->secondsFromGMTAtWallClock(std::numeric_limits<std::int64_t>::min()),
              at.offset);
  }
  EXPECT_FALSE(TimeZone::fixed(86'400));
  EXPECT_FALSE(TimeZone::fixed(-86'400));
  EXPECT_FALSE(TimeZone::fixed(std::numeric_limits<std::int64_t>::max()));
}

TEST(TimeZone, OfAnAbbreviationHasItsOffsetInAnySeason) {
  struct Case {
    const char* name;
    int offset;
  };
  for (const Case& at : {Case{"EST", -18'000},
                         {"EDT", -14'400},
                         {"CST", -21'600},
                         {"CDT", -18'000},
                         {"MST", -25'200},
                         {"PDT", -25'200},
                         {"NST", -12'600},
                         {"GMT", 0},
                         {"UTC", 0},
                         {"CET", 3'600},
                         {"IST", 19'800},
                         {"JST", 32'400}}) {
    const std::optional<TimeZone> found = TimeZone::withAbbreviation(at.name);
    ASSERT_TRUE(found) << at.name;
    EXPECT_EQ(found->secondsFromGMT(utc(2019, 1, 1)), at.offset) << at.name;
    EXPECT_EQ(found->secondsFromGMT(utc(2019, 7, 1)), at.offset) << at.name;
  }
  for (const char* name : {"", "XYZ", "est", "E", "AAA", "ZZZ"}) {
    EXPECT_FALSE(TimeZone::withAbbreviation(name)) << name;
  }
}

struct OffsetCase {
  const char* zone;
  Timestamp instant;
  int offset;
};

const OffsetCase offsetCases[] = {
    {"America/New_York", utc(2019, 3, 10, 6, 59, 59), -18'000},
    {"America/New_York", utc(2019, 3, 10, 7, 0, 0), -14'400},
    {"America/New_York", utc(2019, 11, 3, 5, 59, 59), -14'400},
    {"America/New_York", utc(2019, 11, 3, 6, 0, 0), -18'000},
    {"America/New_York", utc(2019, 3, 10, 6, 59, 59, 0.999), -18'000},
    {"America/New_York", utc(1883, 11, 18, 16, 59, 59), -17'762},  // local mean time
    {"America/New_York", utc(1, 1, 2), -17'762},
    {"America/New_York", utc(2299, 7, 1), -14'400},
    {"America/New_York", utc(2300, 7, 1), -14'400},
    {"America/New_York", utc(2900, 1, 1), -18'000},
    {"America/New_York", utc(9999, 7, 1), -14'400},
    {"America/New_York", utc(4'999'999, 7, 1), -14'400},
    {"Europe/London", utc(1970, 1, 1), 3'600},  // British Standard Time
    {"Asia/Kathmandu", utc(2019, 7, 1), 20'700},
    {"Asia/Tokyo", utc(2400, 7, 1), 32'400},
    {"America/Mexico_City", utc(2025, 7, 1), -21'600},  // no summer time since 2022
    {"Pacific/Apia", utc(2011, 12, 30, 9, 59, 59), -36'000},
    {"Pacific/Apia", utc(2011, 12, 30, 10, 0, 0), 50'400},
};

TEST(TimeZone, HasTheOffsetsOfTheInstalledRules) {
  for (const OffsetCase& at : offsetCases) {
    EXPECT_EQ(zone(at.zone).secondsFromGMT(at.instant), at.offset)
        << at.zone << ' ' << text(at.instant);
  }
}

TEST(TimeZone, AnswersForWhatIsBeyondTheCalendar) {
  const TimeZone tokyo = zone("Asia/Tokyo");
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(tokyo.secondsFromGMT(Timestamp(infinity)), 32'400);
  EXPECT_EQ(tokyo.secondsFromGMT(Timestamp(1e300)), 32'400);
  EXPECT_EQ(tokyo.secondsFromGMT(Timestamp(-infinity)), 33'539);
  EXPECT_EQ(tokyo.secondsFromGMT(Timestamp(std::numeric_limits<double>::quiet_NaN())), 32'400);
  EXPECT_EQ(tokyo.secondsFromGMTAtWallClock(std::numeric_limits<std::int64_t>::max()), 32'400);
  EXPECT_EQ(tokyo.secondsFromGMTAtWallClock(std::numeric_limits<std::int64_t>::min()), 33'539);
}

struct WallClockCase {
  const char* zone;
  Timestamp wallClock;  // its numbers, as if they were UTC
  int offset;
};

const WallClockCase wallClockCases[] = {
    {"America/New_York", utc(2019, 3, 10, 1, 59, 59), -18'000},
    {"America/New_York", utc(2019, 3, 10, 2, 0, 0), -18'000},  // skipped
    {"America/New_York", utc(2019, 3, 10, 2, 59, 59), -18'000},
    {"America/New_York", utc(2019, 3, 10, 3, 0, 0), -14'400},
    {"America/New_York", utc(2019, 11, 3, 0, 59, 59), -14'400},
    {"America/New_York", utc(2019, 11, 3, 1, 0, 0), -14'400},  // twice
    {"America/New_York", utc(2019, 11, 3, 1, 59, 59), -14'400},
    {"America/New_York", utc(2019, 11, 3, 2, 0, 0), -18'000},
    {"America/New_York", utc(2301, 3, 10, 2, 30, 0), -18'000},
    {"America/New_York", utc(2301, 7, 1), -14'400},
    {"America/New_York", utc(1800, 7, 1), -17'762},
    {"America/Sao_Paulo", utc(2018, 11, 4, 0, 0, 0), -10'800},  // midnight is skipped
    {"Pacific/Apia", utc(2011, 12, 30, 12, 0, 0), -36'000},     // the whole day is skipped
    {"Asia/Kathmandu", utc(2019, 7, 1), 20'700},
};

TEST(TimeZone, ReadsSkippedTimesWithTheOffsetBeforeAndRepeatedOnesAsTheFirst) {
  for (const WallClockCase& at : wallClockCases) {
    const auto seconds = static_cast<std::int64_t>(at.wallClock.secondsSinceReference());
    EXPECT_EQ(zone(at.zone).secondsFromGMTAtWallClock(seconds), at.offset)
        << at.zone << ' ' << text(at.wallClock);
  }
}

struct LocalCase {
  const char* setting;
  const char* name;
  int offset;  // in July 2019
};

constexpr LocalCase localCases[] = {
    {"America/New_York", "America/New_York", -14'400},
    {":America/New_York", "America/New_York", -14'400},
    {"/usr/share/zoneinfo/Asia/Tokyo", "Asia/Tokyo", 32'400},
    {":/usr/share/zoneinfo/Asia/Tokyo", "Asia/Tokyo", 32'400},
    {"UTC", "UTC", 0},
    {"", "UTC", 0},
    {"UTC0", "UTC0", 0},
    {"EST5", "EST5", -18'000},
    {"<+0545>-5:45", "<+0545>-5:45", 20'700},
    {"XYZ-1:02:03", "XYZ-1:02:03", 3'723},
};

TEST(LocalZone, IsTheOneThatTZNames) {
  for (const LocalCase& at : localCases) {
    const LocalZoneIs local(at.setting);
    EXPECT_EQ(TimeZone::local().name(), at.name) << at.setting;
    EXPECT_EQ(TimeZone::local().secondsFromGMT(utc(2019, 7, 1)), at.offset) << at.setting;
  }
}

TEST(LocalZone, ThatSaysNoZoneIsReportedOnceAndReadAsUTC) {
  for (const char* setting :
       {"Nowhere/Land", "XYZ", "AB1", "EST5EDT,M3.2.0,M11.1.0,", "EST25", "<+05>", "EST5:60",
        "EST5:", "/no/such/file", "fixed UTC", "libc:localtime", "Fixed/UTC+05:00:00"}) {
    const LocalZoneIs local(setting);
    testing::internal::CaptureStderr();
    EXPECT_EQ(TimeZone::local().name(), "UTC");
    EXPECT_EQ(TimeZone::local().secondsFromGMT(utc(2019, 7, 1)), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR: Unknown time zone: " + std::string(setting) + "\n");
    {
      const LocalZoneIs other("Asia/Tokyo");
      EXPECT_EQ(TimeZone::local().name(), "Asia/Tokyo");
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(TimeZone::local().secondsFromGMT(utc(2019, 7, 1)), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
}

TEST(LocalZone, WithoutTZIsTheSystemsOwn) {
  const LocalZoneIs unset(nullptr);
  std::error_code error;
  const std::string target = std::filesystem::read_symlink("/etc/localtime", error).string();
  if (error) {
    EXPECT_FALSE(TimeZone::local().name().empty());
  } else {
    EXPECT_TRUE(target.ends_with(TimeZone::local().name()))
        << target << ", " << TimeZone::local().name();
  }
}

}  // namespace
}  // namespace ztp::test
