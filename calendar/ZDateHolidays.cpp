// ZDateUtilities: holidays, as asked by date. The rules are in HolidayRules.
#include "calendar/ZDateUtilities.h"

#include "calendar/HolidayRules.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

bool ZDateUtilities::isDateHoliday(std::optional<Date> date, ZHolidayType forHolidayType,
                                   bool* inLieuOfOfficial) {
  if (!date || !inLieuOfOfficial) return false;
  *inLieuOfOfficial = false;
  const std::optional<DayNumber> number = dayOfTimestamp(*date);
  if (!number) return false;
  QueriedDay day = QueriedDay::ofNumber(*number);
  day.isDate = day.instant == *date;
  day.instant = *date;
  const HolidayAnswer answer = holidayAnswer(day, forHolidayType);
  *inLieuOfOfficial = answer.inLieuOfOfficial;
  return answer.isHoliday;
}

bool ZDateUtilities::isUSBankHoliday(std::optional<Date> date) {
  bool inLieu = false;
  return isDateHoliday(date, ZHolidayType::ZHolidayTypeUSBank, &inLieu);
}

bool ZDateUtilities::isNYSEHoliday(std::optional<Date> date) {
  bool inLieu = false;
  return isDateHoliday(date, ZHolidayType::ZHolidayTypeNYSE, &inLieu);
}

bool ZDateUtilities::isTSEHoliday(std::optional<Date> date) {
  bool inLieu = false;
  return isDateHoliday(date, ZHolidayType::ZHolidayTypeTSE, &inLieu);
}

std::optional<Date> ZDateUtilities::easterforYear(std::int64_t year) {
  if (!isValidYear(year) || year > lastCalendarYear) return std::nullopt;
  const CivilDate easter = easterSunday(static_cast<std::int32_t>(year));
  return dateWithYear(easter.year, easter.month, easter.day);
}

}  // namespace ztp
