// HolidayRules: the table, and the ways in which a holiday on a weekend moves to a weekday.
#include "calendar/HolidayRules.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "calendar/WholeSeconds.h"
#include "calendar/ZDateUtilities.h"

namespace ztp {

namespace {

constexpr std::uint8_t usBank = 1;
constexpr std::uint8_t nyse = 2;
constexpr std::uint8_t tse = 4;

constexpr std::int32_t anyWeekday = 0;
constexpr std::int32_t monday = 2;
constexpr std::int32_t tuesday = 3;
constexpr std::int32_t thursday = 5;
constexpr std::int32_t friday = 6;

// A row holds for the days [firstDay:lastDay] of the month that are the weekday.
struct HolidayRule {
  const char* name;
  std::int32_t month;
  std::int32_t firstDay;
  std::int32_t lastDay;
  std::int32_t weekday;
  std::uint8_t calendars;
  std::int32_t firstYear = 1;
};

constexpr HolidayRule onDay(const char* name, std::int32_t month, std::int32_t day,
                            std::uint8_t calendars) {
  return {name, month, day, day, anyWeekday, calendars};
}

// The first of a weekday lies on the days 1 to 7, the second on 8 to 14, and so on.
constexpr HolidayRule onNth(const char* name, std::int32_t month, std::int32_t nth,
                            std::int32_t weekday, std::uint8_t calendars) {
  return {name, month, 7 * nth - 6, 7 * nth, weekday, calendars};
}

// Good Friday is the one official holiday that stands below, in isGoodFriday.
constexpr auto rules = std::to_array<HolidayRule>({
    onDay("New Year's Day", 1, 1, usBank | nyse | tse),
    onNth("Martin Luther King Jr. Day", 1, 3, monday, usBank | nyse),
    onNth("Washington's Birthday", 2, 3, monday, usBank | nyse),
    onNth("Family Day", 2, 3, monday, tse),
    {"Memorial Day", 5, 25, 31, monday, usBank | nyse},  // the last Monday
    {"Victoria Day", 5, 18, 24, monday, tse},            // the Monday before the 25th
    {"Juneteenth", 6, 19, 19, anyWeekday, usBank | nyse, 2022},
    onDay("Canada Day", 7, 1, tse),
    onDay("Independence Day", 7, 4, usBank | nyse),
    onNth("Civic Holiday", 8, 1, monday, tse),
    onNth("Labor Day", 9, 1, monday, usBank | nyse),
    onNth("Labour Day", 9, 1, monday, tse),
    onNth("Columbus Day", 10, 2, monday, usBank),
    onNth("Thanksgiving Day", 10, 2, monday, tse),
    onDay("Veterans Day", 11, 11, usBank),
    onNth("Thanksgiving Day", 11, 4, thursday, usBank | nyse),
    onDay("Christmas Day", 12, 25, usBank | nyse | tse),
    onDay("Boxing Day", 12, 26, tse),
});

// Where the rules of each month begin; those of month m end where those of m + 1 begin.
constexpr auto firstRuleOfMonth = [] {
  std::array<std::size_t, 14> first{};
  for (std::size_t month = 1; month < first.size(); ++month) {
    while (first.at(month) < rules.size() &&
           static_cast<std::size_t>(rules.at(first.at(month)).month) < month) {
      ++first.at(month);
    }
  }
  return first;
}();

std::uint8_t calendarOf(ZHolidayType type) {
  switch (type) {
    case ZHolidayType::ZHolidayTypeUSBank:
      return usBank;
    case ZHolidayType::ZHolidayTypeNYSE:
      return nyse;
    case ZHolidayType::ZHolidayTypeTSE:
      return tse;
  }
  return 0;
}

bool isGoodFriday(const QueriedDay& day) {
  if (day.weekday != friday || (day.civil.month != 3 && day.civil.month != 4)) return false;
  return day.isDate && day.number + 2 == dayNumberFromCivilDate(easterSunday(day.civil.year));
}

// The name of the official holiday that the day is, null when it is none.
const char* officialHoliday(const QueriedDay& day, std::uint8_t calendar) {
  const auto month = static_cast<std::size_t>(day.civil.month);
  for (std::size_t at = firstRuleOfMonth[month]; at < firstRuleOfMonth[month + 1]; ++at) {
    const HolidayRule& rule = rules[at];
    if ((rule.calendars & calendar) != 0 && day.civil.day >= rule.firstDay &&
        day.civil.day <= rule.lastDay &&
        (rule.weekday == anyWeekday || rule.weekday == day.weekday) &&
        day.civil.year >= rule.firstYear) {
      return rule.name;
    }
  }
  return (calendar & (nyse | tse)) != 0 && isGoodFriday(day) ? "Good Friday" : nullptr;
}

// The day so many days away at the same time of day; absent beyond the calendar.
std::optional<QueriedDay> neighbour(const QueriedDay& day, std::int32_t days) {
  const std::int64_t number = std::int64_t{day.number} + days;
  if (!isCalendarDay(number)) return std::nullopt;
  QueriedDay found = QueriedDay::ofNumber(static_cast<DayNumber>(number));
  found.instant = day.instant + days * static_cast<double>(secondsPerDay);
  found.isDate = day.isDate;
  return found;
}

HolidayAnswer answerOfNeighbour(const QueriedDay& day, std::int32_t days, ZHolidayType type) {
  const std::optional<QueriedDay> found = neighbour(day, days);
  return found ? holidayAnswer(*found, type) : HolidayAnswer{};
}

// What is said of a day on which that holiday, if it is one, is observed.
HolidayAnswer inLieuOf(const HolidayAnswer& holiday) {
  return {holiday.isHoliday, holiday.isHoliday, holiday.name};
}

// Whether the day is the last of its month or year, on which books are closed.
bool endsPeriod(const QueriedDay& day) {
  if (day.isDate) return day.civil.day == lastDayOfMonth(day.civil.year, day.civil.month);
  // An instant that is not a date equals none; the boundary methods say so in the log.
  const bool endsMonth = ZDateUtilities::lastDayOfMonthContainingDate(day.instant) == day.instant;
  return endsMonth || ZDateUtilities::lastDayOfYearContainingDate(day.instant) == day.instant;
}

// A Sunday's holiday moves to the Monday; a Saturday's to the Friday, on the exchange alone. The
// exchange stays open on the last day of a month or year.
HolidayAnswer observedInUnitedStates(const QueriedDay& day, ZHolidayType type) {
  if (day.isDate && day.weekday != friday && day.weekday != monday) return {};
  const bool isBank = type == ZHolidayType::ZHolidayTypeUSBank;
  const bool isPeriodEnd = endsPeriod(day);
  if (day.weekday == friday && !isBank && !isPeriodEnd) {
    return inLieuOf(answerOfNeighbour(day, 1, type));
  }
  if (day.weekday == monday && (isBank || !isPeriodEnd)) {
    return inLieuOf(answerOfNeighbour(day, -1, type));
  }
  return {};
}

constexpr bool isOnWeekdayOrFixed(const HolidayRule& rule) {
  return rule.weekday == anyWeekday || (rule.weekday >= monday && rule.weekday <= friday);
}
// What the shortcut below relies on: a holiday on a weekday of its own never falls on a weekend.
static_assert(std::all_of(rules.begin(), rules.end(), isOnWeekdayOrFixed));

// Whether a holiday of the weekend may have moved to this weekday: only one on a fixed day falls
// on a weekend, and it moves by three days at most.
bool mayStandForWeekend(const QueriedDay& day, std::uint8_t calendar) {
  constexpr std::int32_t farthest = 3;
  if (day.civil.day <= farthest) return true;  // from the month before
  const auto month = static_cast<std::size_t>(day.civil.month);
  for (std::size_t at = firstRuleOfMonth[month]; at < firstRuleOfMonth[month + 1]; ++at) {
    const HolidayRule& rule = rules[at];
    if (rule.weekday == anyWeekday && (rule.calendars & calendar) != 0 &&
        day.civil.day > rule.firstDay && day.civil.day <= rule.firstDay + farthest) {
      return true;
    }
  }
  return false;
}

// A weekend's holiday moves to the Monday, and on to the Tuesday when the Monday is taken.
HolidayAnswer observedInToronto(const QueriedDay& day) {
  if (day.weekday != monday && day.weekday != tuesday) return {};
  if (!mayStandForWeekend(day, tse)) return {false, day.weekday == monday};
  constexpr ZHolidayType type = ZHolidayType::ZHolidayTypeTSE;
  const HolidayAnswer twoBefore = answerOfNeighbour(day, -2, type);
  const HolidayAnswer dayBefore = answerOfNeighbour(day, -1, type);
  if (day.weekday == monday) {
    const HolidayAnswer& observed = twoBefore.isHoliday ? twoBefore : dayBefore;
    return {observed.isHoliday, true, observed.name};
  }
  if (!twoBefore.isHoliday) return {};
  // Monday took the Saturday's, or is a holiday itself: the Sunday's is left for the Tuesday.
  const bool mondayIsOfficial = dayBefore.isHoliday && !dayBefore.inLieuOfOfficial;
  const bool observed = mondayIsOfficial || answerOfNeighbour(day, -3, type).isHoliday;
  return observed ? inLieuOf(twoBefore) : HolidayAnswer{};
}

}  // namespace

QueriedDay QueriedDay::ofNumber(DayNumber number) {
  return {number, civilDateFromDayNumber(number), weekdayFromDayNumber(number), dateOfDay(number),
          true};
}

HolidayAnswer holidayAnswer(const QueriedDay& day, ZHolidayType type) {
  const std::uint8_t calendar = calendarOf(type);
  if (calendar == 0) return {};
  if (const char* official = officialHoliday(day, calendar)) return {true, false, official};
  return calendar == tse ? observedInToronto(day) : observedInUnitedStates(day, type);
}

CivilDate easterSunday(std::int32_t year) {
  // The letters are those of the published algorithm (Meeus, Jones and Butcher).
  const std::int32_t a = year % 19;
  const std::int32_t b = year / 100;
  const std::int32_t c = year % 100;
  const std::int32_t d = b / 4;
  const std::int32_t e = b % 4;
  const std::int32_t f = (b + 8) / 25;
  const std::int32_t g = (b - f + 1) / 3;
  const std::int32_t h = (19 * a + b - d - g + 15) % 30;
  const std::int32_t i = c / 4;
  const std::int32_t k = c % 4;
  const std::int32_t l = (32 + 2 * e + 2 * i - h - k) % 7;
  const std::int32_t m = (a + 11 * h + 22 * l) / 451;
  const std::int32_t monthAndDay = h + l - 7 * m + 114;
  return {year, monthAndDay / 31, monthAndDay % 31 + 1};
}

}  // namespace ztp
