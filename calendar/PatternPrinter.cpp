// PatternPrinter: printing by fields, each appended to the text so far.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "calendar/CivilDate.h"
#include "calendar/EnglishNames.h"
#include "calendar/PatternText.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

void putNumber(std::string& text, std::int64_t number, int width) {
  const std::string digits = std::to_string(number);
  const auto wanted = static_cast<std::size_t>(width);
  if (digits.size() < wanted) text.append(wanted - digits.size(), '0');
  text += digits;
}

void putName(std::string& text, std::string_view name, int width) {
  text += width < 4 ? name.substr(0, abbreviationLength) : name;
}

void putYear(std::string& text, std::int32_t year, int width) {
  putNumber(text, width == 2 ? year % 100 : year, width);
}

void putMonth(std::string& text, std::int32_t month, int width) {
  if (width < 3) return putNumber(text, month, width);
  putName(text, monthNames.at(static_cast<std::size_t>(month) - 1), width);
}

void putFraction(std::string& text, std::int64_t nanoseconds, int width) {
  for (int digit = width; digit < 9; ++digit) nanoseconds /= 10;
  putNumber(text, nanoseconds, width);
}

void putOffset(std::string& text, std::int32_t secondsFromGMT, int width) {
  const std::int32_t minutes = std::abs(secondsFromGMT) / 60;
  if (width == 4) text += "GMT";
  if (width >= 4 && minutes == 0) {
    if (width == 5) text += 'Z';
    return;
  }
  text += secondsFromGMT < 0 ? '-' : '+';
  putNumber(text, minutes / 60, 2);
  if (width >= 4) text += ':';
  putNumber(text, minutes % 60, 2);
}

// The clock taken apart once for all fields.
struct PrintedFields {
  CivilDate date;
  std::string_view weekday;
  std::int32_t second;  // of the day
};

void putField(std::string& text, const PatternField& field, const WallTime& time,
              const PrintedFields& fields) {
  const int width = field.width;
  const std::int32_t hour = fields.second / 3600;
  switch (field.letter) {
    case 'y':
      return putYear(text, fields.date.year, width);
    case 'M':
      return putMonth(text, fields.date.month, width);
    case 'd':
      return putNumber(text, fields.date.day, width);
    case 'E':
      return putName(text, fields.weekday, width);
    case 'H':
      return putNumber(text, hour, width);
    case 'h':
      return putNumber(text, hour % 12 == 0 ? 12 : hour % 12, width);
    case 'm':
      return putNumber(text, fields.second / 60 % 60, width);
    case 's':
      return putNumber(text, fields.second % 60, width);
    case 'S':
      return putFraction(text, time.nanoseconds, width);
    case 'a':
      text += hour < 12 ? "AM" : "PM";
      return;
    case 'Z':
      return putOffset(text, time.secondsFromGMT, width);
    default:
      text += field.literal;
      return;
  }
}

}  // namespace

std::string printByFields(std::span<const PatternField> fields, const WallTime& time) {
  const DayAndSecond at = splitSeconds(time.seconds);
  const auto day = static_cast<DayNumber>(at.day);
  const auto weekday = static_cast<std::size_t>(weekdayFromDayNumber(day)) - 1;
  const PrintedFields printed{civilDateFromDayNumber(day), weekdayNames.at(weekday), at.second};
  constexpr std::size_t longEnoughForMost = 40;
  std::string text;
  text.reserve(longEnoughForMost);
  for (const PatternField& field : fields) putField(text, field, time, printed);
  return text;
}

}  // namespace ztp
