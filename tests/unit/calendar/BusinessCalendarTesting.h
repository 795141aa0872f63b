// BusinessCalendarTesting: what the tests of business days share: the markets' short names, days by
// their ISO text, and what a calendar says of one.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "calendar/BusinessCalendar.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {

inline constexpr auto usBank = ZHolidayType::ZHolidayTypeUSBank;
inline constexpr auto nyse = ZHolidayType::ZHolidayTypeNYSE;
inline constexpr auto tse = ZHolidayType::ZHolidayTypeTSE;

/// The day of "2019-03-15".
inline Date date(const char* iso) {
  return ZDateUtilities::dateFromISO8601String(iso).value();
}

/// "Juneteenth", "Juneteenth (in lieu)", "" for none.
inline std::string nameOn(const BusinessCalendar& calendar, const char* iso) {
  const HolidayName name = calendar.nameOfHoliday(date(iso));
  EXPECT_EQ(name.isHoliday, !name.name.empty());
  EXPECT_TRUE(name.isHoliday || !name.inLieu);
  return std::string(name.name) + (name.inLieu ? " (in lieu)" : "");
}

/// A row of a table: what a market's calendar says of a day.
struct DayAndName {
  ZHolidayType type;
  const char* day;
  const char* name;
};

}  // namespace ztp::test
