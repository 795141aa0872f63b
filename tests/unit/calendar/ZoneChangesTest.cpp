// TimeZone: wall-clock times that are skipped or repeated, changes, names of the time, the list of
// zones, and an update of the zone files under a running program.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "CalendarTesting.h"
#include "calendar/Calendar.h"
#include "calendar/TimeZone.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

constexpr auto unique = WallClockKind::unique;
constexpr auto skipped = WallClockKind::skipped;
constexpr auto repeated = WallClockKind::repeated;

struct WallClockCase {
  const char* zone;
  DateComponents fields;
  WallClockKind kind;
  const char* byOffsetBefore;
  const char* byOffsetAfter;
  const char* change;
};

constexpr const char* newYork = "America/New_York";

const WallClockCase wallClocks[] = {
    {newYork,
     {2019, 3, 10, 1, 59, 59},
     unique,
     "2019-03-10 06:59:59",
     "2019-03-10 06:59:59",
     "2019-03-10 06:59:59"},
    {newYork,
     {2019, 3, 10, 2, 0, 0},
     skipped,
     "2019-03-10 07:00:00",
     "2019-03-10 06:00:00",
     "2019-03-10 07:00:00"},
    {newYork,
     {2019, 3, 10, 2, 30, 0},
     skipped,
     "2019-03-10 07:30:00",
     "2019-03-10 06:30:00",
     "2019-03-10 07:00:00"},
    {newYork,
     {2019, 3, 10, 3, 0, 0},
     unique,
     "2019-03-10 07:00:00",
     "2019-03-10 07:00:00",
     "2019-03-10 07:00:00"},
    {newYork,
     {2019, 11, 3, 1, 0, 0},
     repeated,
     "2019-11-03 05:00:00",
     "2019-11-03 06:00:00",
     "2019-11-03 06:00:00"},
    {newYork,
     {2019, 11, 3, 1, 30, 0},
     repeated,
     "2019-11-03 05:30:00",
     "2019-11-03 06:30:00",
     "2019-11-03 06:00:00"},
    {newYork,
     {2019, 11, 3, 2, 0, 0},
     unique,
     "2019-11-03 07:00:00",
     "2019-11-03 07:00:00",
     "2019-11-03 07:00:00"},
    // A whole day that Samoa left out.
    {"Pacific/Apia",
     {2011, 12, 30, 10, 0, 0},
     skipped,
     "2011-12-30 20:00:00",
     "2011-12-29 20:00:00",
     "2011-12-30 10:00:00"},
    // Half an hour.
    {"Australia/Lord_Howe",
     {2019, 4, 7, 1, 45, 0},
     repeated,
     "2019-04-06 14:45:00",
     "2019-04-06 15:15:00",
     "2019-04-06 15:00:00"},
    // Far beyond any table: today's rules go on.
    {newYork,
     {2919, 3, 12, 2, 30, 0},
     skipped,
     "2919-03-12 07:30:00",
     "2919-03-12 06:30:00",
     "2919-03-12 07:00:00"},
    {"UTC",
     {2019, 3, 10, 2, 30, 0},
     unique,
     "2019-03-10 02:30:00",
     "2019-03-10 02:30:00",
     "2019-03-10 02:30:00"},
};

TEST(ZoneChanges, TellWhatAWallClockTimeStandsFor) {
  for (const WallClockCase& each : wallClocks) {
    const auto found = Calendar(zone(each.zone)).instantsFromComponents(each.fields);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->kind, each.kind) << each.byOffsetBefore;
    EXPECT_EQ(text(found->byOffsetBefore), each.byOffsetBefore);
    EXPECT_EQ(text(found->byOffsetAfter), each.byOffsetAfter);
    EXPECT_EQ(text(found->change), each.change) << each.byOffsetBefore;
    EXPECT_EQ(Calendar(zone(each.zone)).timestampFromComponents(each.fields),
              found->byOffsetBefore);
  }
}

struct PolicyCase {
  WallClockPolicy policy;
  const char* inGap;
  const char* inOverlap;
  const char* otherwise;
};

constexpr PolicyCase policies[] = {
    {WallClockPolicy::offsetBefore, "2019-03-10 07:30:00", "2019-11-03 05:30:00",
     "2019-07-01 05:30:00"},
    {WallClockPolicy::offsetAfter, "2019-03-10 06:30:00", "2019-11-03 06:30:00",
     "2019-07-01 05:30:00"},
    {WallClockPolicy::earlier, "2019-03-10 06:30:00", "2019-11-03 05:30:00", "2019-07-01 05:30:00"},
    {WallClockPolicy::later, "2019-03-10 07:30:00", "2019-11-03 06:30:00", "2019-07-01 05:30:00"},
    {WallClockPolicy::uniqueOnly, "none", "none", "2019-07-01 05:30:00"},
};

TEST(ZoneChanges, ChooseByThePolicy) {
  const Calendar calendar(zone(newYork));
  for (const PolicyCase& each : policies) {
    const auto choose = [&](const DateComponents& fields) {
      return text(calendar.timestampFromComponents(fields, each.policy));
    };
    EXPECT_EQ(choose({2019, 3, 10, 2, 30, 0}), each.inGap);
    EXPECT_EQ(choose({2019, 11, 3, 1, 30, 0}), each.inOverlap);
    EXPECT_EQ(choose({2019, 7, 1, 1, 30, 0}), each.otherwise);
  }
  EXPECT_EQ(calendar.timestampFromComponents({0, 1, 1}, WallClockPolicy::later), std::nullopt);
}

TEST(ZoneChanges, FixedOffsetsShowEveryTimeOnce) {
  const auto found = TimeZone::fixed(-18'000)->instantsAtWallClock(0);
  EXPECT_EQ(found.kind, unique);
  EXPECT_EQ(found.byOffsetBefore, Timestamp(18'000.0));
  EXPECT_EQ(found.change, Timestamp(18'000.0));
  for (const std::int64_t extreme :
       {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(TimeZone::utc().instantsAtWallClock(extreme).kind, unique);
    EXPECT_EQ(zone(newYork).instantsAtWallClock(extreme).kind, unique);
  }
}

TEST(ZoneChanges, FollowOneAnother) {
  const TimeZone zone = test::zone(newYork);
  const auto march = zone.nextTransition(utc(2019, 1, 1));
  ASSERT_TRUE(march.has_value());
  EXPECT_EQ(text(march->instant), "2019-03-10 07:00:00");
  EXPECT_EQ(march->secondsFromGMTBefore, -18'000);
  EXPECT_EQ(march->secondsFromGMTAfter, -14'400);
  const auto november = zone.nextTransition(march->instant);
  ASSERT_TRUE(november.has_value());
  EXPECT_EQ(text(november->instant), "2019-11-03 06:00:00");
  EXPECT_EQ(text(zone.previousTransition(november->instant)->instant), "2019-03-10 07:00:00");
  // Both sides of an instant within a second.
  EXPECT_EQ(text(zone.previousTransition(march->instant + 0.5)->instant), "2019-03-10 07:00:00");
  EXPECT_EQ(text(zone.previousTransition(march->instant)->instant), "2018-11-04 06:00:00");
  EXPECT_EQ(text(zone.nextTransition(march->instant - 0.5)->instant), "2019-03-10 07:00:00");
}

TEST(ZoneChanges, HaveAFirstAndNoneWhereNothingChanges) {
  const TimeZone tokyo = zone("Asia/Tokyo");
  EXPECT_EQ(tokyo.nextTransition(utc(2019, 1, 1)), std::nullopt);
  EXPECT_EQ(text(tokyo.previousTransition(utc(2019, 1, 1))->instant), "1951-09-08 15:00:00");
  EXPECT_EQ(tokyo.previousTransition(utc(1850, 1, 1)), std::nullopt);
  EXPECT_EQ(TimeZone::utc().nextTransition(utc(2019, 1, 1)), std::nullopt);
  EXPECT_EQ(TimeZone::fixed(3600)->previousTransition(utc(2019, 1, 1)), std::nullopt);
  // No number and no instant of the calendar are answered, too.
  EXPECT_EQ(tokyo.nextTransition(Timestamp(1e300)), std::nullopt);
  EXPECT_NE(tokyo.previousTransition(Timestamp(std::nan(""))), std::nullopt);
}

struct NameCase {
  const char* zone;
  Timestamp instant;
  const char* abbreviation;
  bool isDaylightTime;
};

TEST(ZoneChanges, NameTheTime) {
  const NameCase cases[] = {
      {newYork, utc(2019, 1, 1), "EST", false},
      {newYork, utc(2019, 7, 1), "EDT", true},
      {newYork, utc(1944, 7, 1), "EWT", true},
      {"Europe/London", utc(1969, 1, 1), "BST", false},  // standard time for three years
      {"Europe/London", utc(2019, 7, 1), "BST", true},
      {"Asia/Kathmandu", utc(2019, 7, 1), "+0545", false},
      {"UTC", utc(2019, 7, 1), "UTC", false},
  };
  for (const NameCase& each : cases) {
    EXPECT_EQ(zone(each.zone).abbreviation(each.instant), each.abbreviation) << each.zone;
    EXPECT_EQ(zone(each.zone).isDaylightTime(each.instant), each.isDaylightTime) << each.zone;
  }
  EXPECT_EQ(TimeZone::fixed(-18'000)->abbreviation(Timestamp()), "GMT-0500");
  EXPECT_EQ(TimeZone::withAbbreviation("EDT")->abbreviation(Timestamp()), "EDT");
  EXPECT_FALSE(TimeZone::withAbbreviation("EDT")->isDaylightTime(Timestamp()));
  const LocalZoneIs kathmandu("<+0545>-5:45");
  EXPECT_EQ(TimeZone::local().abbreviation(Timestamp()), "+0545");
}

TEST(ZoneNames, AreThoseThatCanBeAskedFor) {
  const std::vector<std::string> names = TimeZone::availableNames();
  EXPECT_GT(names.size(), 300U);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  for (const char* name : {"America/New_York", "Asia/Kathmandu", "UTC", "Etc/GMT+5",
                           "America/Argentina/Buenos_Aires"}) {
    EXPECT_TRUE(std::binary_search(names.begin(), names.end(), name)) << name;
  }
  for (const std::string& name : names) {
    EXPECT_TRUE(TimeZone::named(name).has_value()) << name;
    EXPECT_FALSE(name.starts_with("posix/") || name.starts_with("right/")) << name;
  }
}

// A folder of zone files that takes the place of the system's while it lives.
class ZoneFolder {
 public:
  ZoneFolder() : path_(fs::temp_directory_path() / ("zones-" + std::to_string(::getpid()))) {
    fs::create_directories(path_ / "Test");
    setenv("TZDIR", path_.c_str(), 1);
  }
  ~ZoneFolder() {
    unsetenv("TZDIR");
    fs::remove_all(path_);
  }
  ZoneFolder(const ZoneFolder&) = delete;
  ZoneFolder& operator=(const ZoneFolder&) = delete;

  void put(const char* name, const char* rulesOf) const {
    fs::copy_file(fs::path("/usr/share/zoneinfo") / rulesOf, path_ / name,
                  fs::copy_options::overwrite_existing);
  }

 private:
  fs::path path_;
};

TEST(ZoneFiles, ThatAreUpdatedLeaveAZoneThatWasNamedAsItWas) {
  const ZoneFolder folder;
  folder.put("Test/Old", "Asia/Tokyo");
  const TimeZone before = zone("Test/Old");
  EXPECT_EQ(before.secondsFromGMT(Timestamp()), 32'400);
  folder.put("Test/Old", "Asia/Kathmandu");
  folder.put("Test/New", "Asia/Kathmandu");
  EXPECT_EQ(before.secondsFromGMT(Timestamp()), 32'400);
  EXPECT_EQ(zone("Test/Old"), before);
  EXPECT_EQ(zone("Test/New").secondsFromGMT(Timestamp()), 20'700);
  EXPECT_EQ(TimeZone::availableNames(), (std::vector<std::string>{"Test/New", "Test/Old"}));
}

TEST(ZoneFiles, WithoutAFolderHaveNoNames) {
  setenv("TZDIR", "/nowhere", 1);
  EXPECT_TRUE(TimeZone::availableNames().empty());
  unsetenv("TZDIR");
}

}  // namespace
}  // namespace ztp::test
