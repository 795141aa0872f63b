// DOS times, in the zone of whoever runs the test.
#include "archiver/DosTime.h"

#include <gtest/gtest.h>

#include <ctime>

namespace ztp::test {
namespace {

using archiver::DosTime;
using archiver::fromDosTime;
using archiver::toDosTime;

std::int64_t local(int year, int month, int day, int hour, int minute, int second) {
  std::tm time{};
  time.tm_year = year - 1900;
  time.tm_mon = month - 1;
  time.tm_mday = day;
  time.tm_hour = hour;
  time.tm_min = minute;
  time.tm_sec = second;
  time.tm_isdst = -1;
  return std::mktime(&time);
}

TEST(DosTime, isWrittenBitByBit) {
  const DosTime time = toDosTime(local(2024, 3, 1, 12, 34, 57));
  EXPECT_EQ(time.time, 12U << 11U | 34U << 5U | 28U);
  EXPECT_EQ(time.date, 44U << 9U | 3U << 5U | 1U);
}

TEST(DosTime, isReadBackToTwoSeconds) {
  EXPECT_EQ(fromDosTime(toDosTime(local(2024, 7, 31, 23, 59, 59))), local(2024, 7, 31, 23, 59, 58));
  EXPECT_EQ(fromDosTime({0x6000, 0x5861}), local(2024, 3, 1, 12, 0, 0));
}

TEST(DosTime, standsAtTheEndsOfItsYearsForWhatLiesBeyond) {
  for (const std::int64_t early : {std::int64_t{-1'000'000'000'000'000'000}, std::int64_t{0}}) {
    EXPECT_EQ(toDosTime(early).date, 1U << 5U | 1U);
    EXPECT_EQ(toDosTime(early).time, 0U);
  }
  for (const std::int64_t late : {std::int64_t{4'400'000'000}, std::int64_t{1} << 62}) {
    EXPECT_EQ(toDosTime(late).date, 127U << 9U | 12U << 5U | 31U);
    EXPECT_EQ(toDosTime(late).time, 23U << 11U | 59U << 5U | 29U);
  }
}

}  // namespace
}  // namespace ztp::test
