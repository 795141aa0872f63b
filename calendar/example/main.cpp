// business-year: prints the holidays of a year under the three business calendars, and its months'
// processing days, Saturdays and Sundays off. Usage: business-year [YEAR]; without one it is the
// current year.
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>

#include "calendar/ZDateUtilities.h"

namespace {

using ztp::Date;
using ztp::ZDateUtilities;
using ztp::ZHolidayType;

struct BusinessCalendar {
  const char* name;
  ZHolidayType type;
};

constexpr std::array<BusinessCalendar, 3> calendars = {
    {{"US bank", ZHolidayType::ZHolidayTypeUSBank},
     {"NYSE", ZHolidayType::ZHolidayTypeNYSE},
     {"TSE", ZHolidayType::ZHolidayTypeTSE}}};

/// "US bank, NYSE (in lieu)", empty for a working day.
std::string holidaysOn(Date date) {
  std::string names;
  for (const BusinessCalendar& calendar : calendars) {
    bool inLieu = false;
    if (!ZDateUtilities::isDateHoliday(date, calendar.type, &inLieu)) continue;
    if (!names.empty()) names += ", ";
    names += calendar.name;
    if (inLieu) names += " (in lieu)";
  }
  return names;
}

void printHolidays(Date first, Date last) {
  std::puts("Holidays");
  for (std::optional<Date> day = first; day && *day <= last;
       day = ZDateUtilities::dateByAddingDays(1, day)) {
    const std::string names = holidaysOn(*day);
    if (names.empty()) continue;
    std::printf("  %s  %s\n", ZDateUtilities::ISO8601StringFromDate(day)->c_str(), names.c_str());
  }
}

/// Steps from processing day to processing day: the one after a day is one step of a count of 0.
int countProcessingDays(Date first, Date last) {
  constexpr const char* weekend = "Saturday, Sunday";
  int count = 0;
  std::optional<Date> day = ZDateUtilities::dateFromDate(first, 0, weekend, 1);
  while (day && *day <= last) {
    ++count;
    day = ZDateUtilities::dateFromDate(ZDateUtilities::dateByAddingDays(1, day), 0, weekend, 1);
  }
  return count;
}

void printProcessingDays(std::int64_t year) {
  std::puts("Processing days");
  for (std::int64_t month = 1; month <= 12; ++month) {
    const std::optional<Date> first = ZDateUtilities::dateWithYear(year, month, 1);
    const std::optional<Date> last = ZDateUtilities::lastDayOfMonthContainingDate(first);
    if (!first || !last) continue;
    std::printf("  %s  %d\n", ZDateUtilities::ISO8601StringFromDate(first)->substr(0, 7).c_str(),
                countProcessingDays(*first, *last));
  }
}

/// The year named, 0 for what is none.
std::int64_t yearFromText(const char* text) {
  std::int64_t year = 0;
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, year);
  return error == std::errc() && stop == end ? year : 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::int64_t year =
      argc > 1 ? yearFromText(argv[1]) : ZDateUtilities::yearForDate(ZDateUtilities::currentDate());
  const std::optional<Date> first = ZDateUtilities::firstDayOfYearContainingYear(year);
  const std::optional<Date> last = ZDateUtilities::lastDayOfYearContainingDate(first);
  if (argc > 2 || !first || !last) {
    std::fputs("usage: business-year [YEAR]\n", stderr);
    return 2;
  }
  printHolidays(*first, *last);
  printProcessingDays(year);
  return 0;
}
