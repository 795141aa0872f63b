// Day arithmetic against ICU's Gregorian calendar (Julian before 15 October 1582) for every day of
// the years 1 to 3000, and against the standard library's calendar from the switch on.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"
#include "tests/unit/calendar/sweeps/IcuCalendar.h"

namespace ztp::test {
namespace {

constexpr double secondsOfDay = 86400.0;
constexpr std::size_t daysOf3000Years = 1'095'000;

// A day and what is asked about it, in one comparable and printable row.
using Row = std::vector<std::int64_t>;

std::string text(const Row& row) {
  std::ostringstream out;
  for (const auto number : row) out << ' ' << number;
  return out.str();
}

std::string text(const char* what, const Row& asked, const Row& ours, const Row& theirs) {
  return what + text(asked) + ": ours" + text(ours) + ", theirs" + text(theirs);
}

Row ymd(Date date) {
  const auto fields = ZDateUtilities::componentsFromDate(date);
  return fields ? Row{fields->year, fields->month, fields->day} : Row{};
}

Row ymd(const IcuFields& fields) {
  return {fields.year, fields.month, fields.day};
}

// The seconds since 1970 of a date, an empty row for none.
Row instant(std::optional<Date> date) {
  return date ? Row{static_cast<std::int64_t>(date->unixSeconds())} : Row{};
}

Row instant(double unixSeconds) {
  return {static_cast<std::int64_t>(unixSeconds)};
}

class DayArithmeticSweep : public testing::Test {
 protected:
  // Calls `visit(date)` with every day from 1 January of the first year to 31 December of the
  // last.
  template <typename Visit>
  static void everyDay(int firstYear, int lastYear, int step, Visit&& visit) {
    IcuCalendar icu("Etc/UTC");
    const double first = icu.instantOf(firstYear, 1, 1, 12, 0, 0);
    const double last = icu.instantOf(lastYear, 12, 31, 12, 0, 0);
    const auto days = static_cast<int>((last - first) / secondsOfDay);
    for (int day = 0; day <= days; day += step) {
      visit(Date::fromUnixSeconds(first + day * secondsOfDay));
    }
  }

  void compare(const char* what, const Row& asked, const Row& ours, const Row& theirs) {
    found_.compare(ours == theirs, [&] { return text(what, asked, ours, theirs); });
  }

  void compareAdding(Date date) {
    const Row from = ymd(date);
    for (const int count : {-1200, -25, -12, -1, 1, 2, 11, 13, 1201}) {
      const double theirs = icu_.add(date.unixSeconds(), UCAL_MONTH, count);
      compare("plus months", {from[0], from[1], from[2], count},
              instant(ZDateUtilities::dateByAddingMonths(count, date)), instant(theirs));
    }
    for (const int count : {-100, -1, 1, 4, 100}) {
      const double theirs = icu_.add(date.unixSeconds(), UCAL_YEAR, count);
      compare("plus years", {from[0], from[1], from[2], count},
              instant(ZDateUtilities::dateByAddingYears(count, date)), instant(theirs));
    }
  }

  IcuCalendar icu_{"Etc/UTC"};
  Disagreements found_;
};

TEST_F(DayArithmeticSweep, everyDayHasTheNameAndWeekdayThatIcuGives) {
  everyDay(1, 3000, 1, [&](Date date) {
    const auto theirs = icu_.fieldsAt(date.unixSeconds());
    auto ours = ymd(date);
    ours.push_back(ZDateUtilities::dayOfWeekForDate(date));
    compare("day", instant(date), ours, {theirs.year, theirs.month, theirs.day, theirs.weekday});
  });
  EXPECT_TRUE(found_.noneAmong(daysOf3000Years));
}

TEST_F(DayArithmeticSweep, everyNameOfADayIsTheInstantThatIcuGives) {
  everyDay(1, 3000, 1, [&](Date date) {
    const auto name = icu_.fieldsAt(date.unixSeconds());
    const auto ours = ZDateUtilities::dateWithYear(name.year, name.month, name.day);
    compare("name", ymd(name), instant(ours), instant(date));
  });
  EXPECT_TRUE(found_.noneAmong(daysOf3000Years));
}

TEST_F(DayArithmeticSweep, everyDayHasThePlaceInItsYearAndMonthThatIcuGives) {
  everyDay(1, 3000, 1, [&](Date date) {
    const auto icu = icu_.fieldsAt(date.unixSeconds());
    if (icu.year == 1582) return;  // ICU counts the ten days that October 1582 did not have
    const Row theirs{icu.dayOfYear, icu.weekOfYear, icu.weekOfMonth, icu.weekdayOrdinal};
    const Row ours{ZDateUtilities::dayOfYearForDate(date), ZDateUtilities::weekOfYearForDate(date),
                   ZDateUtilities::weekOfMonthForDate(date),
                   ZDateUtilities::nthWeekdayOfMonthForDate(date)};
    compare("place", ymd(date), ours, theirs);
  });
  EXPECT_TRUE(found_.noneAmong(daysOf3000Years));
}

TEST_F(DayArithmeticSweep, monthsAndDaysOutOfRangeRollOverAsIcuRollsThem) {
  for (int year = 1; year <= 3000; ++year) {
    for (int month = 1; month <= 26; ++month) {
      for (const int day : {1, 5, 10, 14, 28, 29, 30, 31, 32, 400}) {
        const double theirs = icu_.instantOf(year, month, day, 12, 0, 0);
        compare("roll over", {year, month, day},
                instant(ZDateUtilities::dateWithYear(year, month, day)), instant(theirs));
      }
    }
  }
  EXPECT_TRUE(found_.noneAmong(780'000));
}

TEST_F(DayArithmeticSweep, monthsAndYearsAreAddedAsIcuAddsThem) {
  everyDay(101, 2900, 11, [&](Date date) { compareAdding(date); });
  everyDay(1580, 1585, 1, [&](Date date) { compareAdding(date); });
  EXPECT_TRUE(found_.noneAmong(1'320'000));
}

TEST_F(DayArithmeticSweep, everyGregorianDayIsThatOfTheStandardLibraryBothWays) {
  using namespace std::chrono_literals;
  const std::chrono::sys_days last = 3000y / 12 / 31;
  for (std::chrono::sys_days day = 1582y / 10 / 15; day <= last; day += std::chrono::days{1}) {
    const std::chrono::year_month_day name{day};
    const Row names{int{name.year()}, unsigned{name.month()}, unsigned{name.day()},
                    std::chrono::weekday{day}.c_encoding() + 1};
    const double noon =
        static_cast<double>(day.time_since_epoch().count()) * secondsOfDay + 43200.0;
    const auto date = Date::fromUnixSeconds(noon);
    auto ours = ymd(date);
    ours.push_back(ZDateUtilities::dayOfWeekForDate(date));
    compare("day", instant(noon), ours, names);
    compare("name", names, instant(ZDateUtilities::dateWithYear(names[0], names[1], names[2])),
            instant(noon));
  }
  EXPECT_TRUE(found_.noneAmong(1'034'000));
}

TEST_F(DayArithmeticSweep, daysAreValidWhereTheStandardLibraryHasThem) {
  for (int year = 1583; year <= 3000; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 28; day <= 32; ++day) {
        const bool theirs = (std::chrono::year{year} / month / day).ok();
        compare("valid", {year, month, day}, {ZDateUtilities::isValidDay(day, month, year)},
                {theirs});
      }
    }
  }
  EXPECT_TRUE(found_.noneAmong(85'080));
}

}  // namespace
}  // namespace ztp::test
