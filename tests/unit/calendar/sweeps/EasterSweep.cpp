// Easter against a second algorithm: golden number and epact give the paschal full moon, as the
// reform of 1582 defines it (the form of D. Knuth, The Art of Computer Programming 1.3.2), and the
// standard library's calendar the Sunday after it. The library's own goes another way.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"

namespace ztp::test {
namespace {

std::chrono::sys_days paschalFullMoon(int year) {
  const int goldenNumber = year % 19 + 1;
  const int century = year / 100 + 1;
  const int leapYearsDropped = 3 * century / 4 - 12;
  const int moonCorrection = (8 * century + 5) / 25 - 5;
  int epact = (11 * goldenNumber + 20 + moonCorrection - leapYearsDropped) % 30;
  if (epact < 0) epact += 30;
  if ((epact == 25 && goldenNumber > 11) || epact == 24) ++epact;
  const int dayOfMarch = epact <= 23 ? 44 - epact : 74 - epact;
  return std::chrono::sys_days{std::chrono::year{year} / 3 / 1} + std::chrono::days{dayOfMarch - 1};
}

std::chrono::sys_days easterByEpact(int year) {
  const auto fullMoon = paschalFullMoon(year);
  const auto untilSunday = std::chrono::Sunday - std::chrono::weekday{fullMoon};
  return fullMoon + (untilSunday.count() == 0 ? std::chrono::days{7} : untilSunday);
}

double noonUnixSeconds(std::chrono::sys_days day) {
  return static_cast<double>(day.time_since_epoch().count()) * 86400.0 + 43200.0;
}

TEST(EasterSweep, easterIsTheSundayAfterThePaschalFullMoonFrom1583To4099) {
  Disagreements found;
  for (int year = 1583; year <= 4099; ++year) {
    const double theirs = noonUnixSeconds(easterByEpact(year));
    const auto ours = ZDateUtilities::easterforYear(year);
    found.compare(ours == Date::fromUnixSeconds(theirs), [&] { return std::to_string(year); });
  }
  EXPECT_TRUE(found.noneAmong(4099 - 1583 + 1));
}

}  // namespace
}  // namespace ztp::test
