// business-year: what a bank's program asks of the calendar, in one small program: the holidays of
// a year, the processing days of its months, when a trade settles, and a statement's timestamps in
// the user's zone. Usage: business-year [YEAR [ZONE]]; without them this year and the local zone.
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>

#include "calendar/BusinessCalendar.h"
#include "calendar/Chrono.h"
#include "calendar/DateFormatter.h"
#include "calendar/ErrorHandler.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace {

using ztp::BusinessCalendar;
using ztp::Date;
using ztp::SpecialClosings;
using ztp::Timestamp;
using ztp::TimeZone;
using ztp::ZDateUtilities;
using ztp::ZHolidayType;
using ztp::ZTimestampUtilities;

std::string text(std::optional<Date> date) {
  return ZDateUtilities::ISO8601StringFromDate(date).value_or("none");
}

// What a calendar is called beside its holidays.
struct NamedCalendar {
  const char* name;
  BusinessCalendar calendar;
};

// "US bank, NYSE (in lieu)", empty for a working day.
std::string holidaysOn(const std::array<NamedCalendar, 3>& calendars, Date date) {
  std::string names;
  for (const NamedCalendar& each : calendars) {
    const ztp::HolidayName holiday = each.calendar.nameOfHoliday(date);
    if (!holiday.isHoliday) continue;
    if (!names.empty()) names += ", ";
    names += each.name;
    if (holiday.inLieu) names += " (in lieu)";
  }
  return names;
}

void printHolidays(Date first, Date end) {
  const std::array<NamedCalendar, 3> calendars = {
      {{"US bank", BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank)},
       {"NYSE", BusinessCalendar::market(ZHolidayType::ZHolidayTypeNYSE)},
       {"TSE", BusinessCalendar::market(ZHolidayType::ZHolidayTypeTSE)}}};
  // The joint calendar lists the days of all; each has its own word on them.
  const BusinessCalendar any = BusinessCalendar::closedWhenAny(
      {calendars[0].calendar, calendars[1].calendar, calendars[2].calendar});
  std::puts("Holidays");
  for (const ztp::Holiday& holiday : any.holidays(first, end)) {
    std::printf("  %s  %s\n", text(holiday.date).c_str(),
                holidaysOn(calendars, holiday.date).c_str());
  }
}

void printProcessingDays(std::int64_t year) {
  const auto bank = BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank);
  std::puts("Processing days");
  for (std::int64_t month = 1; month <= 12; ++month) {
    const auto first = ZDateUtilities::dateWithYear(year, month, 1);
    const auto end = ZDateUtilities::dateByAddingMonths(1, first);
    if (!first || !end) continue;
    const std::optional<std::int64_t> days = bank.businessDays(*first, *end);
    if (!days) continue;
    std::printf("  %s  %lld\n", text(first).substr(0, 7).c_str(), static_cast<long long>(*days));
  }
}

// Two business days after the trade, of the exchange as it was and is and of the bank that pays.
void printSettlement(Date first) {
  const BusinessCalendar both = BusinessCalendar::closedWhenAny(
      {BusinessCalendar::market(ZHolidayType::ZHolidayTypeNYSE, SpecialClosings::included),
       BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank)});
  std::puts("Settlement, two business days after the first trade of a quarter");
  for (std::int64_t months = 0; months < 12; months += 3) {
    const auto quarter = ZDateUtilities::dateByAddingMonths(months, first);
    const auto trade = quarter ? both.adjust(*quarter) : std::nullopt;
    if (trade) {
      std::printf("  %s  %s\n", text(trade).c_str(), text(both.advance(*trade, 2)).c_str());
    }
  }
}

// The bank closes its books at 17:00 in New York on the last processing day of a month; the user
// reads the statement on a clock of their own.
void printStatement(Date first, TimeZone zone) {
  using namespace std::chrono_literals;
  const auto bank = BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank);
  const ztp::DateFormatter onTheirClock("EEE d MMM yyyy HH:mm Z", zone);
  std::printf("Books closed, on the clocks of %s\n", std::string(zone.name()).c_str());
  for (std::int64_t month = 0; month < 12; ++month) {
    const auto date = ZDateUtilities::dateByAddingMonths(month, first);
    const auto lastDay = date ? bank.lastBusinessDayOfMonth(*date) : std::nullopt;
    const auto noon =
        ZTimestampUtilities::timestampAtNoonOnDate(lastDay, ZTimestampUtilities::estTimeZone());
    if (!noon) continue;
    const Timestamp closing = *noon + 5h;
    std::printf("  %s  %s\n", onTheirClock.stringFromTimestamp(closing).value_or("none").c_str(),
                ZTimestampUtilities::ISO8601StringFromTimestamp(closing).value_or("none").c_str());
  }
}

// The year named, 0 for what is none.
std::int64_t yearFromText(const char* text) {
  std::int64_t year = 0;
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, year);
  return error == std::errc() && stop == end ? year : 0;
}

}  // namespace

int main(int argc, char** argv) {
  ztp::setErrorHandler([](std::string_view line) {
    std::fprintf(stderr, "business-year: %.*s\n", static_cast<int>(line.size()), line.data());
  });
  const std::int64_t year =
      argc > 1 ? yearFromText(argv[1]) : ZDateUtilities::yearForDate(ZDateUtilities::currentDate());
  const auto zone = argc > 2 ? TimeZone::named(argv[2]) : std::optional(TimeZone::local());
  const auto first = ZDateUtilities::firstDayOfYearContainingYear(year);
  const auto end = ZDateUtilities::dateByAddingYears(1, first);
  if (argc > 3 || !first || !end || !zone) {
    std::fputs("usage: business-year [YEAR [ZONE]]\n", stderr);
    return 2;
  }
  printHolidays(*first, *end);
  printProcessingDays(year);
  printSettlement(*first);
  printStatement(*first, *zone);
  return 0;
}
