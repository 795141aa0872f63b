// setErrorHandler: lines go to the program's handler in the place of standard error, and back.
#include "calendar/ErrorHandler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

std::vector<std::string>& lines() {
  static std::vector<std::string> all;
  return all;
}

void keepLine(std::string_view line) {
  lines().emplace_back(line);
}

// Uses an instant as a date, and returns what standard error said.
std::string coerceOnce() {
  const LocalZoneIs known("UTC");  // one that is not there would have its own line
  testing::internal::CaptureStderr();
  EXPECT_NE(ZDateUtilities::yearForDate(utc(2019, 3, 15, 20)), 0);
  return testing::internal::GetCapturedStderr();
}

constexpr const char* line = "ERROR: Timestamp is not a valid date: 2019-03-15 20:00:00 +0000";

TEST(ErrorHandler, TakesTheLinesUntilItIsTakenAway) {
  lines().clear();
  EXPECT_EQ(setErrorHandler(keepLine), nullptr);
  EXPECT_EQ(coerceOnce(), "");
  EXPECT_EQ(coerceOnce(), "");
  EXPECT_EQ(lines(), (std::vector<std::string>{line, line}));
  EXPECT_EQ(setErrorHandler(nullptr), keepLine);
  EXPECT_EQ(coerceOnce(), std::string(line) + "\n");
  EXPECT_EQ(lines().size(), 2U);
}

TEST(ErrorHandler, TakesTheLineOfAnUnknownZone) {
  lines().clear();
  setErrorHandler(keepLine);
  const LocalZoneIs nowhere("Nowhere/ForTheHandler");
  EXPECT_EQ(TimeZone::local().name(), "UTC");
  setErrorHandler(nullptr);
  EXPECT_EQ(lines(), (std::vector<std::string>{"ERROR: Unknown time zone: Nowhere/ForTheHandler"}));
}

}  // namespace
}  // namespace ztp::test
