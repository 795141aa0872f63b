// Instants as text, whatever the machine's time zone and locale are.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

Instant at(double seconds) {
  return Instant(std::chrono::duration<double>(seconds));
}
double secondsOf(std::string_view text) {
  const auto instant = Utilities::timestampWithString(text);
  return instant ? instant->time_since_epoch().count() : std::nan("");
}

struct Case {
  double seconds;  // since 1970
  std::string_view text;
};

constexpr Case cases[] = {
    {0, "1970-01-01T00:00:00Z"},
    {-1, "1969-12-31T23:59:59Z"},
    {1709658249, "2024-03-05T17:04:09Z"},
    {951782400, "2000-02-29T00:00:00Z"},
    {1709251199, "2024-02-29T23:59:59Z"},
    {4107542400, "2100-03-01T00:00:00Z"},  // 2100 is not a leap year
    {4107542399, "2100-02-28T23:59:59Z"},
    {978307200, "2001-01-01T00:00:00Z"},
    {253402300799, "9999-12-31T23:59:59Z"},
    {-12219292800, "1582-10-15T00:00:00Z"},
    {-12219292801, "1582-10-04T23:59:59Z"},  // the Julian calendar before
    {-14825030400, "1500-03-10T00:00:00Z"},
    {-14825894400, "1500-02-29T00:00:00Z"},  // a leap year there
    {-62135769600, "0001-01-01T00:00:00Z"},
};

TEST(Timestamp, IsFormattedInUtc) {
  for (const auto& [seconds, text] : cases) {
    EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(seconds)), text);
  }
}

TEST(Timestamp, IsParsedInUtc) {
  for (const auto& [seconds, text] : cases) EXPECT_EQ(secondsOf(text), seconds) << text;
}

TEST(Timestamp, TakesAnyTimePointOfTheSystemClock) {
  const std::chrono::system_clock::time_point point{std::chrono::seconds(1709658249)};
  EXPECT_EQ(Utilities::stringWithEncodedTimestamp(point), "2024-03-05T17:04:09Z");
}

TEST(Timestamp, DropsFractionsOfASecond) {
  EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(0.999)), "1970-01-01T00:00:00Z");
  EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(-0.001)), "1969-12-31T23:59:59Z");
}

TEST(Timestamp, DoesNotDependOnZoneOrLocale) {
  for (const char* zone : {"America/New_York", "Asia/Kolkata", "Pacific/Kiritimati"}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    std::setlocale(LC_ALL, "");
    EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(0)), "1970-01-01T00:00:00Z") << zone;
    EXPECT_EQ(secondsOf("1970-01-01T00:00:00Z"), 0) << zone;
  }
  ::unsetenv("TZ");
  ::tzset();
  std::setlocale(LC_ALL, "C");
}

TEST(Timestamp, InAnyOtherFormIsNothing) {
  for (const std::string_view text : {"",
                                      "Z",
                                      "1970-01-01T00:00:00.000Z",
                                      "1970-01-01T00:00:00+01:00",
                                      "1970-01-01T00:00:00",
                                      "1970-01-01T00:00:00z",
                                      "1970-01-01 00:00:00Z",
                                      "1970-01-01t00:00:00Z",
                                      " 1970-01-01T00:00:00Z",
                                      "1970-01-01T00:00:00Z ",
                                      "1970-01-01T00:00:00ZZ",
                                      "70-01-01T00:00:00Z",
                                      "01970-01-01T00:00:00Z",
                                      "1970-1-01T00:00:00Z",
                                      "1970-01-1T00:00:00Z",
                                      "1970-01-01T0:00:00Z",
                                      "1970-01-01T00:0:00Z",
                                      "1970-01-01T00:00:0Z",
                                      "+970-01-01T00:00:00Z",
                                      "-970-01-01T00:00:00Z",
                                      "1970-+1-01T00:00:00Z",
                                      "1970- 1-01T00:00:00Z",
                                      "1970/01/01T00:00:00Z",
                                      "1970-01-01T00.00.00Z",
                                      "197a-01-01T00:00:00Z",
                                      "1970-01-01",
                                      "19700101T000000Z",
                                      "\xd9\xa1\xd9\xa9\xd9\xa7\xd9\xa0-01-01T00:00:00Z"}) {
    EXPECT_FALSE(Utilities::timestampWithString(text).has_value()) << text;
  }
}

TEST(Timestamp, WithAFieldOutOfRangeIsNothing) {
  for (const std::string_view text :
       {"0000-01-01T00:00:00Z", "1970-00-01T00:00:00Z", "1970-13-01T00:00:00Z",
        "1970-01-00T00:00:00Z", "1970-01-32T00:00:00Z", "1970-04-31T00:00:00Z",
        "1970-02-29T00:00:00Z", "2100-02-29T00:00:00Z", "1970-01-01T24:00:00Z",
        "1970-01-01T00:60:00Z", "1970-01-01T00:00:60Z", "1582-10-05T00:00:00Z",
        "1582-10-14T00:00:00Z"}) {
    EXPECT_FALSE(Utilities::timestampWithString(text).has_value()) << text;
  }
}

TEST(Timestamp, BeyondTheFourDigitsGrowsAndBeforeTheFirstYearCountsBack) {
  EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(253402300800)), "10000-01-01T00:00:00Z");
  EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(-62135769601)), "0001-12-31T23:59:59Z");
}

TEST(Timestamp, OfNoInstantIsEmpty) {
  for (const double seconds :
       {std::nan(""), std::numeric_limits<double>::infinity(), 1e300, -1e14}) {
    EXPECT_EQ(Utilities::stringWithEncodedTimestamp(at(seconds)), "");
  }
}

TEST(Timestamp, OfEveryHundredthDayOfAllYearsComesBack) {
  for (double seconds = -62135769600; seconds < 253402300800; seconds += 8'640'001) {
    const std::string text = Utilities::stringWithEncodedTimestamp(at(seconds));
    ASSERT_EQ(secondsOf(text), seconds) << text;
  }
}

}  // namespace
}  // namespace ztp::test
