// BusinessCalendar against QuantLib, every day from 1980 to 2030: which days are business days, and
// steps, counts and adjustments. Where the two differ on a day it is named, with the reason; a
// difference that is not named fails, and so does a named one that is none.
#include <gtest/gtest.h>

#include <ql/time/calendar.hpp>
#include <ql/time/calendars/canada.hpp>
#include <ql/time/calendars/jointcalendar.hpp>
#include <ql/time/calendars/unitedstates.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "calendar/BusinessCalendar.h"
#include "calendar/Chrono.h"
#include "calendar/CivilDate.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"

namespace ztp::test {
namespace {

constexpr DayNumber first = dayNumberFromCivilDate({1980, 1, 1});
constexpr DayNumber last = dayNumberFromCivilDate({2030, 12, 31});
constexpr std::size_t daysSwept = 18'628;
constexpr DayNumber serialOfReference = 36'892;  // of 2001-01-01, as QuantLib counts

QuantLib::Date theirs(DayNumber day) {
  return QuantLib::Date(static_cast<QuantLib::Date::serial_type>(day + serialOfReference));
}

std::string text(DayNumber day) {
  return toString(civilDateFromDayNumber(day));
}

std::string text(std::optional<Date> date) {
  return date ? text(dayOfTimestamp(*date).value()) : "none";
}

std::string text(const QuantLib::Date& date) {
  return text(static_cast<DayNumber>(date.serialNumber()) - serialOfReference);
}

// Days on which the two differ, and why.
using Reasons = std::map<std::string, const char*>;

constexpr const char* kingDayLaw = "federal from 1986; QuantLib has it from 1983 on";
constexpr const char* juneteenth = "a Saturday's holiday closes no Reserve Bank on the Friday";
constexpr const char* afterVersion = "came after QuantLib 1.29";
constexpr const char* stayedShut = "Toronto resumed on the 13th; not in QuantLib 1.29";

const Reasons bankReasons = {{"1983-01-17", kingDayLaw},
                             {"1984-01-16", kingDayLaw},
                             {"1985-01-21", kingDayLaw},
                             {"2027-06-18", juneteenth}};
const Reasons newYorkReasons = {{"2025-01-09", afterVersion}};
const Reasons torontoReasons = {{"2001-09-12", stayedShut}};

BusinessCalendar market(ZHolidayType type) {
  return BusinessCalendar::market(type, SpecialClosings::included);
}

struct Pair {
  BusinessCalendar ours;
  QuantLib::Calendar theirs;
  Reasons reasons;
};

Pair bank() {
  return {market(ZHolidayType::ZHolidayTypeUSBank),
          QuantLib::UnitedStates(QuantLib::UnitedStates::FederalReserve), bankReasons};
}

Pair newYork() {
  return {market(ZHolidayType::ZHolidayTypeNYSE),
          QuantLib::UnitedStates(QuantLib::UnitedStates::NYSE), newYorkReasons};
}

Pair toronto() {
  return {market(ZHolidayType::ZHolidayTypeTSE), QuantLib::Canada(QuantLib::Canada::TSX),
          torontoReasons};
}

void expectSameDays(const Pair& pair) {
  Disagreements found;
  for (DayNumber day = first; day <= last; ++day) {
    const bool isOurs = pair.ours.isBusinessDay(dateOfDay(day));
    const bool isSame = isOurs == pair.theirs.isBusinessDay(theirs(day));
    found.compare(isSame != pair.reasons.contains(text(day)), [&] {
      return text(day) + (isOurs ? " is ours" : " is not ours") +
             (isSame ? ", and named without a difference" : ", and no reason is named");
    });
  }
  EXPECT_TRUE(found.noneAmong(daysSwept));
}

TEST(QuantLibSweep, TheMarketsHaveTheSameDaysButForTheNamedOnes) {
  expectSameDays(bank());
  expectSameDays(newYork());
  expectSameDays(toronto());
}

// The same days on both sides: ours as theirs says it, so that what follows compares the stepping.
Pair withTheirDays(Pair pair) {
  std::vector<NamedDate> closed;
  std::vector<Date> open;
  for (const auto& [name, reason] : pair.reasons) {
    const CivilDate civil{std::stoi(name), std::stoi(name.substr(5)), std::stoi(name.substr(8))};
    const DayNumber day = dayNumberFromCivilDate(civil);
    if (pair.theirs.isBusinessDay(theirs(day))) {
      open.push_back(dateOfDay(day));
    } else {
      closed.push_back({dateOfDay(day), reason});
    }
  }
  return {pair.ours.withClosedDays(closed).withOpenDays(open), pair.theirs, {}};
}

struct Convention {
  BusinessDayConvention ours;
  QuantLib::BusinessDayConvention theirs;
};

constexpr Convention conventions[] = {
    {BusinessDayConvention::following, QuantLib::Following},
    {BusinessDayConvention::modifiedFollowing, QuantLib::ModifiedFollowing},
    {BusinessDayConvention::preceding, QuantLib::Preceding},
    {BusinessDayConvention::modifiedPreceding, QuantLib::ModifiedPreceding},
    {BusinessDayConvention::unadjusted, QuantLib::Unadjusted},
};

void expectSameAdjusting(const Pair& pair) {
  Disagreements found;
  for (DayNumber day = first; day <= last; ++day) {
    for (const Convention& each : conventions) {
      const std::string is = text(pair.ours.adjust(dateOfDay(day), each.ours));
      const std::string shouldBe = text(pair.theirs.adjust(theirs(day), each.theirs));
      found.compare(is == shouldBe, [&] { return text(day) + ": " + is + ", not " + shouldBe; });
    }
  }
  EXPECT_TRUE(found.noneAmong(daysSwept * std::size(conventions)));
}

TEST(QuantLibSweep, AdjustsAlike) {
  expectSameAdjusting(withTheirDays(bank()));
  expectSameAdjusting(withTheirDays(newYork()));
  expectSameAdjusting(withTheirDays(toronto()));
}

void expectSameSteps(const Pair& pair) {
  Disagreements found;
  for (DayNumber day = first; day <= last; ++day) {
    for (const int count : {-30, -10, -1, 0, 1, 2, 10, 30}) {
      const std::string is = text(pair.ours.advance(dateOfDay(day), count));
      const std::string shouldBe = text(pair.theirs.advance(theirs(day), count, QuantLib::Days));
      found.compare(is == shouldBe, [&] {
        return text(day) + " by " + std::to_string(count) + ": " + is + ", not " + shouldBe;
      });
    }
  }
  EXPECT_TRUE(found.noneAmong(daysSwept * 8));
}

TEST(QuantLibSweep, AdvancesAlike) {
  expectSameSteps(withTheirDays(bank()));
  expectSameSteps(withTheirDays(newYork()));
  expectSameSteps(withTheirDays(toronto()));
}

TEST(QuantLibSweep, AdvancesByMonthsAlike) {
  const Pair pair = withTheirDays(newYork());
  Disagreements found;
  constexpr DayNumber fourteenMonths = 427;  // no step leads to before 1980
  for (DayNumber day = first + fourteenMonths; day <= last; ++day) {
    for (const int months : {-13, -1, 1, 3, 12}) {
      for (const bool isKept : {false, true}) {
        const std::string is = text(pair.ours.advanceMonths(
            dateOfDay(day), months, BusinessDayConvention::modifiedFollowing,
            isKept ? EndOfMonth::kept : EndOfMonth::ignored));
        const std::string shouldBe = text(pair.theirs.advance(theirs(day), months, QuantLib::Months,
                                                              QuantLib::ModifiedFollowing, isKept));
        found.compare(is == shouldBe, [&] {
          return text(day) + " by " + std::to_string(months) + " months: " + is + ", not " +
                 shouldBe;
        });
      }
    }
  }
  EXPECT_TRUE(found.noneAmong((daysSwept - fourteenMonths) * 10));
}

TEST(QuantLibSweep, EndsMonthsAlike) {
  const Pair pair = withTheirDays(toronto());
  Disagreements found;
  for (DayNumber day = first; day <= last; ++day) {
    const std::string is = text(pair.ours.lastBusinessDayOfMonth(dateOfDay(day)));
    const std::string shouldBe = text(pair.theirs.endOfMonth(theirs(day)));
    const bool isSame = is == shouldBe && pair.ours.isEndOfMonth(dateOfDay(day)) ==
                                              pair.theirs.isEndOfMonth(theirs(day));
    found.compare(isSame, [&] { return text(day) + ": " + is + ", theirs " + shouldBe; });
  }
  EXPECT_TRUE(found.noneAmong(daysSwept));
}

void expectSameCounts(const Pair& pair) {
  Disagreements found;
  for (DayNumber day = first; day + 365 <= last; ++day) {
    for (const DayNumber span : {0, 1, 7, 31, 365}) {
      const auto is = pair.ours.businessDays(dateOfDay(day), dateOfDay(day + span)).value();
      const auto shouldBe = pair.theirs.businessDaysBetween(theirs(day), theirs(day + span));
      // Of a single day QuantLib says 0 as well: the first counts, the last does not.
      found.compare(is == shouldBe, [&] {
        return text(day) + " and " + std::to_string(span) + ": " + std::to_string(is) + ", not " +
               std::to_string(shouldBe);
      });
    }
  }
  EXPECT_TRUE(found.noneAmong((daysSwept - 365) * 5));
}

TEST(QuantLibSweep, CountsAlike) {
  expectSameCounts(withTheirDays(bank()));
  expectSameCounts(withTheirDays(toronto()));
}

TEST(QuantLibSweep, ListsTheSameHolidays) {
  const Pair pair = withTheirDays(newYork());
  Disagreements found;
  for (int year = 1980; year <= 2030; ++year) {
    const DayNumber begin = dayNumberFromCivilDate({year, 1, 1});
    const DayNumber end = dayNumberFromCivilDate({year, 12, 31});
    std::string is;
    for (const Holiday& each : pair.ours.holidays(dateOfDay(begin), dateOfDay(end + 1))) {
      const int weekday = weekdayFromDayNumber(dayOfTimestamp(each.date).value());
      if (weekday != 1 && weekday != 7) is += text(each.date) + " ";
    }
    std::string shouldBe;
    for (const auto& each : pair.theirs.holidayList(theirs(begin), theirs(end))) {
      shouldBe += text(each) + " ";
    }
    found.compare(is == shouldBe, [&] { return is + "\nnot\n" + shouldBe; });
  }
  EXPECT_TRUE(found.noneAmong(51));
}

TEST(QuantLibSweep, JoinsAlike) {
  const Pair one = withTheirDays(newYork());
  const Pair other = withTheirDays(toronto());
  const Pair any{BusinessCalendar::closedWhenAny({one.ours, other.ours}),
                 QuantLib::JointCalendar(one.theirs, other.theirs, QuantLib::JoinHolidays),
                 {}};
  expectSameDays(any);
  expectSameSteps(any);
  const Pair all{BusinessCalendar::closedWhenAll({one.ours, other.ours}),
                 QuantLib::JointCalendar(one.theirs, other.theirs, QuantLib::JoinBusinessDays),
                 {}};
  expectSameDays(all);
  expectSameSteps(all);
}

}  // namespace
}  // namespace ztp::test
