// HolidayRules: which days are holidays under the three business calendars, official or observed.
// A table of the official ones, and the rules of observance over it. Not installed.
#pragma once

#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"
#include "calendar/ZHolidayType.h"

namespace ztp {

/// A day whose holidays are looked up.
struct QueriedDay {
  DayNumber number = 0;
  CivilDate civil;
  int weekday = 1;
  /// The instant queried. Only one at noon UTC can equal another date.
  Timestamp instant;
  bool isDate = true;

  /// The date of that day, as a day to query.
  static QueriedDay ofNumber(DayNumber number);
};

/// What the rules say of a day.
struct HolidayAnswer {
  bool isHoliday = false;
  /// What is told of the day besides: that it is observed in lieu of the official day.
  bool inLieuOfOfficial = false;
  /// The holiday, also the one observed; empty when it is none.
  const char* name = "";
};

/// Whether the day is a holiday, official or observed.
HolidayAnswer holidayAnswer(const QueriedDay& day, ZHolidayType type);

/// Easter Sunday of a year of the calendar, by the Gregorian rule.
CivilDate easterSunday(std::int32_t year);

}  // namespace ztp
