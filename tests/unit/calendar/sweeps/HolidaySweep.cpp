// The holiday rules against the published closing days, every day from 1990 to 2030, and every day
// on which they differ by name, with the reason. A difference that is not listed fails, and so does
// a listed one that is none.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <span>
#include <sstream>
#include <string>

#include "calendar/BusinessCalendar.h"
#include "calendar/Chrono.h"
#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZHolidayType.h"
#include "tests/unit/calendar/sweeps/ClosingDays.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"

namespace ztp::test {
namespace {

using std::chrono::sys_days;

// A day on which the rules say something else than the published calendar, and why.
struct KnownDifference {
  const char* day;
  DayKind published;
  DayKind rules;
  const char* reason;
};

constexpr auto open = DayKind::open;
constexpr auto official = DayKind::official;

constexpr KnownDifference bankDifferences[] = {
    {"2021-06-19", official, open, "Juneteenth: law since 17 June 2021, in the rules from 2022"},
};

constexpr const char* kingDayBegan = "Martin Luther King Day: kept by the exchange since 1998";
constexpr const char* mourning = "closed for a national day of mourning";
constexpr const char* attack = "closed after the attack on the World Trade Center";
constexpr const char* storm = "closed for Hurricane Sandy";

constexpr KnownDifference newYorkDifferences[] = {
    {"1990-01-15", open, official, kingDayBegan},
    {"1991-01-21", open, official, kingDayBegan},
    {"1992-01-20", open, official, kingDayBegan},
    {"1993-01-18", open, official, kingDayBegan},
    {"1994-01-17", open, official, kingDayBegan},
    {"1994-04-27", official, open, mourning},  // Richard Nixon
    {"1995-01-16", open, official, kingDayBegan},
    {"1996-01-15", open, official, kingDayBegan},
    {"1997-01-20", open, official, kingDayBegan},
    {"2001-09-11", official, open, attack},
    {"2001-09-12", official, open, attack},
    {"2001-09-13", official, open, attack},
    {"2001-09-14", official, open, attack},
    {"2004-06-11", official, open, mourning},  // Ronald Reagan
    {"2007-01-02", official, open, mourning},  // Gerald Ford
    {"2012-10-29", official, open, storm},
    {"2012-10-30", official, open, storm},
    {"2018-12-05", official, open, mourning},  // George H. W. Bush
    {"2025-01-09", official, open, mourning},  // Jimmy Carter
};

constexpr const char* familyDayBegan = "Family Day: an Ontario holiday since 2008";

constexpr KnownDifference torontoDifferences[] = {
    {"1990-02-19", open, official, familyDayBegan}, {"1991-02-18", open, official, familyDayBegan},
    {"1992-02-17", open, official, familyDayBegan}, {"1993-02-15", open, official, familyDayBegan},
    {"1994-02-21", open, official, familyDayBegan}, {"1995-02-20", open, official, familyDayBegan},
    {"1996-02-19", open, official, familyDayBegan}, {"1997-02-17", open, official, familyDayBegan},
    {"1998-02-16", open, official, familyDayBegan}, {"1999-02-15", open, official, familyDayBegan},
    {"2000-02-21", open, official, familyDayBegan}, {"2001-02-19", open, official, familyDayBegan},
    {"2001-09-12", official, open, attack},         {"2002-02-18", open, official, familyDayBegan},
    {"2003-02-17", open, official, familyDayBegan}, {"2004-02-16", open, official, familyDayBegan},
    {"2005-02-21", open, official, familyDayBegan}, {"2006-02-20", open, official, familyDayBegan},
    {"2007-02-19", open, official, familyDayBegan},
};

std::string text(sys_days day) {
  const std::chrono::year_month_day date{day};
  std::ostringstream out;
  out << int{date.year()} << std::setfill('0') << '-' << std::setw(2) << unsigned{date.month()}
      << '-' << std::setw(2) << unsigned{date.day()};
  return out.str();
}

std::string text(DayKind kind) {
  return kind == DayKind::open ? "open" : kind == DayKind::official ? "official" : "observed";
}

// What the rules say. The flag counts only beside a holiday: of the Toronto exchange it is set on
// every Monday that is no official one.
DayKind rulesOf(ZHolidayType type, sys_days day) {
  const auto noon = static_cast<double>(day.time_since_epoch().count()) * 86400.0 + 43200.0;
  bool inLieuOfOfficial = false;
  if (!ZDateUtilities::isDateHoliday(Date::fromUnixSeconds(noon), type, &inLieuOfOfficial)) {
    return DayKind::open;
  }
  return inLieuOfOfficial ? DayKind::observed : DayKind::official;
}

DayKind publishedOf(const ClosingDays& closings, sys_days day) {
  const auto found = closings.find(day);
  return found == closings.end() ? DayKind::open : found->second;
}

// What is to be expected of the rules: the published kind unless the day is a known difference.
DayKind expectedOf(DayKind published, std::span<const KnownDifference> known, sys_days day) {
  const auto row = std::find_if(known.begin(), known.end(),
                                [&](const KnownDifference& each) { return each.day == text(day); });
  return row == known.end() ? published : row->rules;
}

Disagreements sweep(ZHolidayType type, const ClosingDays& closings,
                    std::span<const KnownDifference> known) {
  Disagreements found;
  const sys_days last = std::chrono::year{lastClosingYear} / 12 / 31;
  for (sys_days day = std::chrono::year{firstClosingYear} / 1 / 1; day <= last;
       day += std::chrono::days{1}) {
    const DayKind published = publishedOf(closings, day);
    const DayKind expected = expectedOf(published, known, day);
    const DayKind rules = rulesOf(type, day);
    found.compare(rules == expected, [&] {
      return text(day) + ": the rules say " + text(rules) + ", published is " + text(published) +
             (expected == published ? "" : ", listed as different");
    });
  }
  return found;
}

sys_days dayNamed(const std::string& name) {
  return std::chrono::year{std::stoi(name)} / std::stoi(name.substr(5)) / std::stoi(name.substr(8));
}

// Every row must say of its day what was published, and differ from it.
Disagreements check(const ClosingDays& closings, std::span<const KnownDifference> known) {
  Disagreements found;
  for (const auto& row : known) {
    const DayKind published = publishedOf(closings, dayNamed(row.day));
    const bool holds = row.published == published && row.rules != published && *row.reason != 0;
    found.compare(holds, [&] { return std::string(row.day) + ": published " + text(published); });
  }
  return found;
}

constexpr std::size_t daysSwept = 14'975;

TEST(HolidaySweep, usBankHolidaysAreTheReserveBanksClosingDaysButForTheListedOnes) {
  EXPECT_TRUE(check(federalReserveClosings(), bankDifferences).noneAmong(1));
  EXPECT_TRUE(sweep(ZHolidayType::ZHolidayTypeUSBank, federalReserveClosings(), bankDifferences)
                  .noneAmong(daysSwept));
}

TEST(HolidaySweep, nyseHolidaysAreTheExchangesClosingDaysButForTheListedOnes) {
  EXPECT_TRUE(check(newYorkClosings(), newYorkDifferences).noneAmong(19));
  EXPECT_TRUE(sweep(ZHolidayType::ZHolidayTypeNYSE, newYorkClosings(), newYorkDifferences)
                  .noneAmong(daysSwept));
}

TEST(HolidaySweep, tseHolidaysAreTheExchangesClosingDaysButForTheListedOnes) {
  EXPECT_TRUE(check(torontoClosings(), torontoDifferences).noneAmong(19));
  EXPECT_TRUE(sweep(ZHolidayType::ZHolidayTypeTSE, torontoClosings(), torontoDifferences)
                  .noneAmong(daysSwept));
}

// The weekdays on which the market, with its special closings, is not as published.
Disagreements sweepWithSpecialClosings(ZHolidayType type, const ClosingDays& closings) {
  const auto calendar = BusinessCalendar::market(type, SpecialClosings::included);
  Disagreements found;
  const sys_days last = std::chrono::year{lastClosingYear} / 12 / 31;
  for (sys_days day = std::chrono::year{firstClosingYear} / 1 / 1; day <= last;
       day += std::chrono::days{1}) {
    const bool isWeekend = std::chrono::weekday(day).iso_encoding() > 5;
    const bool isOpen = calendar.isBusinessDay(dateFromSysDays(day));
    found.compare(isOpen == (!isWeekend && !closings.contains(day)),
                  [&] { return text(day) + (isOpen ? " is open" : " is closed"); });
  }
  return found;
}

TEST(HolidaySweep, withTheirSpecialClosingsTheMarketsAreAsPublished) {
  EXPECT_TRUE(sweepWithSpecialClosings(ZHolidayType::ZHolidayTypeUSBank, federalReserveClosings())
                  .noneAmong(daysSwept));
  EXPECT_TRUE(sweepWithSpecialClosings(ZHolidayType::ZHolidayTypeNYSE, newYorkClosings())
                  .noneAmong(daysSwept));
  EXPECT_TRUE(sweepWithSpecialClosings(ZHolidayType::ZHolidayTypeTSE, torontoClosings())
                  .noneAmong(daysSwept));
}

}  // namespace
}  // namespace ztp::test
