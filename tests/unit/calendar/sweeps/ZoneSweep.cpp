// Zone conversions against ICU: every half hour around every change of ten zones from 1970 to 2021,
// from the instant to the wall clock and back, gaps and overlaps included.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

#include "calendar/Calendar.h"
#include "calendar/DateComponents.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"
#include "tests/unit/calendar/sweeps/IcuCalendar.h"
#include "tests/unit/calendar/sweeps/SweepZones.h"

namespace ztp::test {
namespace {

constexpr double firstInstant = 0.0;             // 1970-01-01
constexpr double instantAfterLast = 1640995200;  // 2022-01-01
constexpr std::int64_t halfHoursAround = 72;     // more than the day that Apia skipped
constexpr std::size_t instantsAround = 290;      // of one change

std::string text(const DateComponents& fields) {
  std::ostringstream out;
  out << fields.year << '-' << fields.month << '-' << fields.day << ' ' << fields.hour << ':'
      << fields.minute << ':' << fields.second;
  return out.str();
}

DateComponents components(const IcuFields& fields) {
  return {fields.year, fields.month, fields.day, fields.hour, fields.minute, fields.second};
}

// The fields that a clock shows which has run for so many seconds since 1970-01-01 00:00:00.
DateComponents wallClock(std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds{seconds}};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{time - day};
  return {int{date.year()},      unsigned{date.month()},  unsigned{date.day()},
          clock.hours().count(), clock.minutes().count(), clock.seconds().count()};
}

class ZoneSweep : public testing::TestWithParam<const char*> {
 protected:
  ZoneSweep() : zone_(TimeZone::named(GetParam()).value()), calendar_(zone_), icu_(GetParam()) {}

  // Calls `visit(seconds)` with the last second before and the first of every half hour around.
  template <typename Visit>
  static void aroundEvery(double centre, Visit&& visit) {
    const auto middle = std::llround(centre);
    for (std::int64_t halfHours = -halfHoursAround; halfHours <= halfHoursAround; ++halfHours) {
      visit(middle + halfHours * 1800 - 1);
      visit(middle + halfHours * 1800);
    }
  }

  void compareFieldsAt(std::int64_t unixSeconds) {
    const auto instant = Timestamp::fromUnixSeconds(static_cast<double>(unixSeconds));
    const auto ours = calendar_.componentsFromTimestamp(instant).value();
    const auto theirs = components(icu_.fieldsAt(static_cast<double>(unixSeconds)));
    found_.compare(ours == theirs, [&] {
      return std::to_string(unixSeconds) + ": " + text(ours) + ", ICU " + text(theirs);
    });
  }

  void compareInstantOf(const DateComponents& fields) {
    const auto ours = calendar_.timestampFromComponents(fields).value().unixSeconds();
    const auto part = [](std::int64_t field) { return static_cast<int>(field); };
    const double theirs =
        icu_.instantOf(part(fields.year), part(fields.month), part(fields.day), part(fields.hour),
                       part(fields.minute), part(fields.second));
    found_.compare(ours == theirs, [&] {
      return text(fields) + ": " + std::to_string(ours) + ", ICU " + std::to_string(theirs);
    });
  }

  // ICU's instant so many days later; absent where the clock does not show that time or shows it
  // twice: there ICU counts elapsed hours and disagrees with its own reading of the time.
  std::optional<double> daysLater(double start, int days) {
    const auto clock = icu_.fieldsAt(start);
    const double read = icu_.instantOf(clock.year, clock.month, clock.day + days, clock.hour,
                                       clock.minute, clock.second);
    const double added = icu_.add(start, UCAL_DATE, days);
    return added == read ? std::optional(added) : std::nullopt;
  }

  void compareDaysAdded(std::int64_t unixSeconds, int days) {
    const auto start = static_cast<double>(unixSeconds);
    const auto theirs = daysLater(start, days);
    if (!theirs) return;
    const auto ours = calendar_.timestampByAddingDays(days, Timestamp::fromUnixSeconds(start));
    found_.compare(ours == Timestamp::fromUnixSeconds(*theirs), [&] {
      return std::to_string(unixSeconds) + " plus " + std::to_string(days) +
             " days: " + std::to_string(ours.value().unixSeconds()) + ", ICU " +
             std::to_string(*theirs);
    });
  }

  void compareDaysBetween(std::int64_t from, std::int64_t to) {
    const auto start = static_cast<double>(from);
    const auto end = static_cast<double>(to);
    const int theirs = icu_.daysBetween(start, end);
    for (const int near : {theirs - 1, theirs, theirs + 1}) {
      if (!daysLater(start, near)) return;
    }
    const auto ours =
        calendar_.numberOfDays(Timestamp::fromUnixSeconds(start), Timestamp::fromUnixSeconds(end));
    found_.compare(ours == theirs, [&] {
      return std::to_string(from) + " to " + std::to_string(to) + ": " + std::to_string(ours) +
             ", ICU " + std::to_string(theirs);
    });
  }

  TimeZone zone_;
  Calendar calendar_;
  IcuCalendar icu_;
  Disagreements found_;
};

TEST_P(ZoneSweep, wallClocksShowWhatIcuReadsAroundEveryChange) {
  for (const double change : icu_.changesBetween(firstInstant, instantAfterLast)) {
    aroundEvery(change, [&](std::int64_t seconds) { compareFieldsAt(seconds); });
  }
  EXPECT_TRUE(found_.noneAmong(instantsAround));
}

TEST_P(ZoneSweep, wallClockTimesAreTheInstantsThatIcuGivesAroundEveryChange) {
  for (const double change : icu_.changesBetween(firstInstant, instantAfterLast)) {
    const auto before = Timestamp::fromUnixSeconds(change - 1.0);
    const double onTheWall = change + zone_.secondsFromGMT(before);
    aroundEvery(onTheWall, [&](std::int64_t seconds) { compareInstantOf(wallClock(seconds)); });
  }
  EXPECT_TRUE(found_.noneAmong(instantsAround));
}

TEST_P(ZoneSweep, daysAreAddedAsIcuAddsThemAroundEveryChange) {
  for (const double change : icu_.changesBetween(firstInstant, instantAfterLast)) {
    aroundEvery(change, [&](std::int64_t seconds) {
      for (const int days : {-2, -1, 1, 2}) compareDaysAdded(seconds, days);
    });
  }
  EXPECT_TRUE(found_.noneAmong(2 * instantsAround));
}

TEST_P(ZoneSweep, daysAreCountedAsIcuCountsThemAroundEveryChange) {
  for (const double change : icu_.changesBetween(firstInstant, instantAfterLast)) {
    aroundEvery(change, [&](std::int64_t seconds) {
      for (const std::int64_t hours : {-49, -48, -25, -24, -23, 0, 23, 24, 25, 47}) {
        compareDaysBetween(seconds, seconds + hours * 3600);
      }
    });
  }
  EXPECT_TRUE(found_.noneAmong(5 * instantsAround));
}

INSTANTIATE_TEST_SUITE_P(TenZones, ZoneSweep, testing::ValuesIn(sweepZones),
                         [](const testing::TestParamInfo<const char*>& zone) {
                           std::string name = zone.param;
                           for (char& c : name) c = c == '/' ? '_' : c;
                           return name;
                         });

}  // namespace
}  // namespace ztp::test
