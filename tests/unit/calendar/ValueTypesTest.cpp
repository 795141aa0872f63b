// Timestamp and CivilDate as values: arithmetic, order, hashes, and their text on streams and in
// formats.
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "CalendarTesting.h"
#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"

#define FMT_HEADER_ONLY
#include "calendar/Format.h"

namespace ztp::test {
namespace {

TEST(ValueTypes, SecondsAreAddedAndTaken) {
  Timestamp instant = utc(2019, 3, 15, 13, 30);
  EXPECT_EQ(text(instant + 60.0), "2019-03-15 13:31:00");
  EXPECT_EQ(text(instant - 60.5), "2019-03-15 13:28:59.5");
  EXPECT_EQ(text(instant += 1.0), "2019-03-15 13:30:01");
  EXPECT_EQ(text(instant -= 2.0), "2019-03-15 13:29:59");
  EXPECT_EQ(utc(2019, 3, 15) - utc(2019, 3, 14), 86'400.0);
}

TEST(ValueTypes, CivilDatesHaveTheOrderOfTheirDays) {
  EXPECT_LT((CivilDate{2019, 3, 15}), (CivilDate{2019, 3, 16}));
  EXPECT_LT((CivilDate{2019, 3, 31}), (CivilDate{2019, 4, 1}));
  EXPECT_LT((CivilDate{2019, 12, 31}), (CivilDate{2020, 1, 1}));
  EXPECT_GE((CivilDate{2019, 3, 15}), (CivilDate{2019, 3, 15}));
  const std::map<CivilDate, int> byDay = {{{2020, 1, 1}, 2}, {{2019, 12, 31}, 1}};
  EXPECT_EQ(byDay.begin()->second, 1);
}

TEST(ValueTypes, AreKeys) {
  std::unordered_map<Timestamp, int> byInstant;
  byInstant[utc(2019, 3, 15)] = 1;
  byInstant[utc(2019, 3, 15)] = 2;
  EXPECT_EQ(byInstant.size(), 1U);
  EXPECT_EQ(std::hash<Timestamp>{}(Timestamp(0.0)), std::hash<Timestamp>{}(Timestamp(-0.0)));
  const std::unordered_set<CivilDate> days = {{2019, 3, 15}, {2019, 3, 15}, {2019, 3, 16}};
  EXPECT_EQ(days.size(), 2U);
}

TEST(ValueTypes, EveryDayOfACenturyHasAHashOfItsOwn) {
  std::unordered_set<std::size_t> hashes;
  for (DayNumber number = 0; number < 36'525; ++number) {
    hashes.insert(std::hash<CivilDate>{}(civilDateFromDayNumber(number)));
  }
  EXPECT_EQ(hashes.size(), 36'525U);
}

struct InstantAndText {
  Timestamp instant;
  const char* text;
};

const InstantAndText instants[] = {
    {utc(2019, 3, 15, 13, 30), "2019-03-15T13:30:00Z"},
    {utc(2019, 3, 15, 13, 30, 7, 0.25), "2019-03-15T13:30:07.25Z"},
    {utc(2019, 3, 15, 13, 30, 7, 0.001), "2019-03-15T13:30:07.001Z"},
    {utc(2019, 3, 15, 13, 30, 7, 0.9999999), "2019-03-15T13:30:07.999999Z"},
    {utc(1969, 12, 31, 23, 59, 59, 0.5), "1969-12-31T23:59:59.5Z"},
    {day(1, 1, 1), "0001-01-01T12:00:00Z"},
    {day(12'345, 6, 7), "12345-06-07T12:00:00Z"},
    {Timestamp(1e300), "1e+300 s since 2001"},
    {Timestamp(-std::numeric_limits<double>::infinity()), "-inf s since 2001"},
    {Timestamp(static_cast<double>(firstCalendarDay) * 86'400.0 - 1.0),
     "-6.31141e+10 s since 2001"},
};

TEST(ValueTypes, InstantsPrintAsISO8601) {
  for (const InstantAndText& each : instants) {
    std::ostringstream out;
    out << each.instant;
    EXPECT_EQ(out.str(), each.text);
    EXPECT_EQ(toString(each.instant), each.text);
  }
}

TEST(ValueTypes, CivilDatesPrintAsISO8601) {
  std::ostringstream out;
  out << CivilDate{2019, 3, 5} << ' ' << CivilDate{12'345, 11, 30};
  EXPECT_EQ(out.str(), "2019-03-05 12345-11-30");
}

#ifdef FMT_VERSION
TEST(ValueTypes, AreFormattedByFmt) {
  const Date date = day(2019, 3, 15);
  EXPECT_EQ(fmt::format("{}", date), "2019-03-15T12:00:00Z");
  EXPECT_EQ(fmt::format("{:d}", date), "2019-03-15");
  EXPECT_EQ(fmt::format("[{:>22}]", date), "[  2019-03-15T12:00:00Z]");
  EXPECT_EQ(fmt::format("{:d}", Timestamp(1e300)), "1e+300 s since 2001");
  EXPECT_EQ(fmt::format("[{}|{:<12}]", CivilDate{2019, 3, 15}, CivilDate{2019, 3, 15}),
            "[2019-03-15|2019-03-15  ]");
  EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:q}"), date)), fmt::format_error);
}
#endif

}  // namespace
}  // namespace ztp::test
