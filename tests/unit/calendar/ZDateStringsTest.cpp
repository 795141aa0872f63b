// ZDateUtilities: the ISO 8601, OFX and month/day/year forms of dates.
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

struct TextAndDate {
  const char* text;
  const char* date;
};

constexpr TextAndDate isoTexts[] = {
    {"2019-03-15", "2019-03-15"},
    {"2019-03-15T10:00:00Z", "2019-03-15"},
    {"2019/03/15", "2019-03-15"},
    {"2019x03y15z", "2019-03-15"},
    {"2019-3-5", "none"},    // too short
    {"2019-3-5xx", "none"},  // the day's characters are no digits
    {"2019-03-1x", "2019-03-01"},
    {"2019-02-30", "2019-03-02"},
    {"2019-13-01", "2020-01-01"},
    {"20-9-03-15", "0020-03-15"},
    {"0000-03-15", "none"},
    {"2019-00-15", "none"},
    {"2019-03-00", "none"},
    {" 019-03-15", "none"},  // a blank in front reads as 0
    {"+019-03-15", "none"},
    {"-019-03-15", "none"},
    {"2019- 3-15", "none"},
    {"2019-03-+5", "none"},
    {"abcd-ef-gh", "none"},
    {"", "none"},
    {"2019-03-1", "none"},
    {"2019\xE5\xB9\xB4"
     "03\xE6\x9C\x88"
     "15",
     "2019-03-15"},  // 2019年03月15: ten characters
    {"2019\xE5\xB9\xB4"
     "3\xE6\x9C\x88",
     "none"},  // ten bytes, seven characters
};

TEST(DateStrings, ReadsISO8601ByPosition) {
  for (const TextAndDate& at : isoTexts) {
    EXPECT_EQ(text(ZDateUtilities::dateFromISO8601String(at.text)), at.date) << at.text;
  }
}

constexpr TextAndDate ofxTexts[] = {
    {"20190315", "2019-03-15"}, {"20190315133000.000[-5:EST]", "2019-03-15"},
    {"2019031", "none"},        {"20191301", "2020-01-01"},
    {"20190332", "2019-04-01"}, {"00000000", "none"},
    {"2019 315", "none"},       {"2019-315", "none"},
    {" 0190315", "none"},       {"", "none"},
};

TEST(DateStrings, ReadsOFXByPosition) {
  for (const TextAndDate& at : ofxTexts) {
    EXPECT_EQ(text(ZDateUtilities::dateFromOFXString(at.text)), at.date) << at.text;
  }
}

TEST(DateStrings, PrintsISO8601AndOFX) {
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(day(2019, 3, 5)), "2019-03-05");
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(day(1, 1, 1)), "0001-01-01");
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(day(12'345, 11, 30)), "12345-11-30");
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(std::nullopt), std::nullopt);
  EXPECT_EQ(ZDateUtilities::OFXStringFromDate(day(2019, 3, 5)), "20190305");
  EXPECT_EQ(ZDateUtilities::OFXStringFromDate(day(1, 1, 1)), "00010101");
  EXPECT_EQ(ZDateUtilities::OFXStringFromDate(std::nullopt), "00000000");
}

TEST(DateStrings, PrintsWithoutCoercing) {
  // 23:30 on the 15th in UTC is a day later in Tokyo, but an instant prints as it stands in UTC.
  const LocalZoneIs tokyo("Asia/Tokyo");
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(utc(2019, 3, 15, 23, 30)), "2019-03-15");
  EXPECT_EQ(ZDateUtilities::OFXStringFromDate(utc(2019, 3, 15, 23, 30)), "20190315");
}

constexpr TextAndDate slashTexts[] = {
    {"3/15/2019", "2019-03-15"},
    {"03/15/2019", "2019-03-15"},
    {"3/15/19", "0019-03-15"},
    {"12/31/1", "0001-12-31"},
    {"13/1/2019", "2020-01-01"},
    {"2/30/2020", "2020-03-01"},
    {"3/15/2019abc", "2019-03-15"},
    {"3/15", "none"},
    {"3/15/2019/", "none"},
    {"3/15/2019/1", "none"},
    {"0/15/2019", "none"},
    {"3/0/2019", "none"},
    {"3/15/0", "none"},
    {"//", "none"},
    {"3//2019", "none"},
    {"-3/15/2019", "none"},
    {"3/-15/2019", "none"},
    {" 3/15/2019", "2019-03-15"},  // blanks and a sign in front of a number
    {"3/ 15/2019", "2019-03-15"},
    {"3/15/ 2019", "2019-03-15"},
    {"3 /15 /2019 ", "2019-03-15"},
    {"\t3/\t15/\t2019", "2019-03-15"},
    {"+3/+15/+2019", "2019-03-15"},
    {"3/15/ +2019", "2019-03-15"},
    {"3/15/-2019", "none"},
    {"+ 3/15/2019", "none"},
    {"--3/15/2019", "none"},
    {" /15/2019", "none"},
    {"a/b/c", "none"},
    {"", "none"},
    {"1/1/99999999999999999999999999", "none"},
    {"99999999999999999999999999/1/2019", "none"},
    {"1/99999999999999999999999999/2019", "none"},
    {"3-15-2019", "none"},
};

TEST(DateStrings, ReadsMonthDayYear) {
  for (const TextAndDate& at : slashTexts) {
    EXPECT_EQ(text(ZDateUtilities::dateFromMonthDayYearString(at.text)), at.date) << at.text;
  }
}

struct TextAndOffset {
  const char* text;
  std::int64_t seconds;
};

constexpr std::int64_t mostHours = std::numeric_limits<std::int64_t>::max() / 3600 * 3600;

constexpr TextAndOffset offsets[] = {
    {"20190315133000.000[-5:EST]", -18'000},
    {"20190315133000.000[-5]", -18'000},
    {"20190315133000.000", 0},
    {"", 0},
    {"20190315133000.000[:EST]", -18'000},
    {"20190715133000.000[:EST]", -18'000},  // the abbreviation's own offset, in any season
    {"20190715133000.000[:EDT]", -14'400},
    {"20190315133000.000[:PST]", -28'800},
    {"20190315133000.000[:IST]", 19'800},
    {"20190315133000.000[:GMT]", 0},
    {"20190315133000.000[:XYZ]", 0},
    {"20190315133000.000[:est]", 0},
    {"20190315133000.000[:ESTX]", -18'000},
    {"20190315133000.000[5.30:IST]", 18'000},
    {"20190315133000.000[-5.30]", -18'000},
    {"20190315133000.000[+5:XXX]", 18'000},
    {"20190315133000.000[ -5:EST]", -18'000},
    {"20190315133000.000[ +5 ]", 18'000},
    {"20190315133000.000[]", 0},
    {"20190315133000.000[abc]", 0},
    {"20190315133000.000[--5]", 0},
    {"[99999999999999999999]", mostHours},
    {"[-99999999999999999999]", -mostHours},
};

TEST(DateStrings, ReadsTheZonePartOfAnOFXDateTime) {
  for (const TextAndOffset& at : offsets) {
    EXPECT_EQ(ZDateUtilities::timeZoneOffsetFromOFXTimeString(at.text), at.seconds) << at.text;
  }
}

TEST(DateStrings, ThrowsForAZonePartThatCannotBeCutOut) {
  for (const char* text : {"20190315[", "20190315[-5", "20190315[:", "20190315[:ES", "20190315[:E",
                           "2019:03[-5]", "13:30[-5:EST]", "]20190315[-5"}) {
    EXPECT_THROW(static_cast<void>(ZDateUtilities::timeZoneOffsetFromOFXTimeString(text)),
                 std::out_of_range)
        << text;
  }
}

}  // namespace
}  // namespace ztp::test
