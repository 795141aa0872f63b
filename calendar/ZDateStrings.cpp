// ZDateUtilities: the text forms of dates. Fields are cut out by position and read digit by digit;
// the calendar then says whether they make a date.
#include "calendar/ZDateUtilities.h"

#include <array>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace ztp {

namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// The number that the leading digits make, 0 without one, the largest number when they make more.
std::int64_t numberOfLeadingDigits(std::string_view text) {
  std::int64_t number = 0;
  for (const char character : text) {
    if (!isDigit(character)) break;
    const int digit = character - '0';
    if (number > (largest - digit) / 10) return largest;
    number = 10 * number + digit;
  }
  return number;
}

// The same behind blanks and a sign.
std::int64_t integerValue(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string_view::npos) return 0;
  text.remove_prefix(start);
  const bool negative = text.front() == '-';
  if (negative || text.front() == '+') text.remove_prefix(1);
  const std::int64_t size = numberOfLeadingDigits(text);
  return negative ? -size : size;
}

// Positions count characters, in UTF-16 as the callers' strings are, but only ASCII characters can
// be part of a field: this is the text with "?" in the place of every other one.
std::string asCharacters(std::string_view string) {
  std::string characters;
  for (const char byte : string) {
    const auto value = static_cast<unsigned char>(byte);
    const bool continues = (value & 0xC0U) == 0x80U;
    if (value < 0x80U) {
      characters += byte;
    } else if (!continues) {
      characters.append(value >= 0xF0U ? 2 : 1, '?');
    }
  }
  return characters;
}

// Where year, month and day stand in a text that is at least so long.
struct FieldPlaces {
  std::size_t length;
  std::size_t month;
  std::size_t day;
};

std::optional<Date> dateFromPlaces(std::string_view text, const FieldPlaces& places) {
  if (text.size() < places.length) return std::nullopt;
  return ZDateUtilities::dateWithYear(numberOfLeadingDigits(text.substr(0, 4)),
                                      numberOfLeadingDigits(text.substr(places.month, 2)),
                                      numberOfLeadingDigits(text.substr(places.day, 2)));
}

std::optional<Date> dateFromCharacters(std::string_view string, const FieldPlaces& places) {
  const std::string_view head = string.substr(0, places.length);
  for (const char byte : head) {
    if (static_cast<unsigned char>(byte) >= 0x80U) {
      return dateFromPlaces(asCharacters(string), places);
    }
  }
  return dateFromPlaces(head, places);
}

// The year in four digits or more, month and day in two, the separator between them.
std::string printDate(const CivilDate& date, const char* separator) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%04d%s%02d%s%02d", date.year,
                                   separator, date.month, separator, date.day);
  return {text.data(), static_cast<std::size_t>(length)};
}

// The characters from one place to another; out of range when there is no such piece.
std::string_view cutOut(std::string_view string, std::size_t from, std::size_t to) {
  if (to == std::string_view::npos || to < from || to > string.size()) {
    throw std::out_of_range("OFX time zone: no end of the field");
  }
  return string.substr(from, to - from);
}

std::int64_t secondsOfHours(std::string_view text) {
  constexpr std::int64_t secondsPerHour = 3600;
  constexpr std::int64_t limit = largest / secondsPerHour;
  const std::int64_t hours = integerValue(text);
  return (hours > limit ? limit : hours < -limit ? -limit : hours) * secondsPerHour;
}

}  // namespace

std::optional<Date> ZDateUtilities::dateFromISO8601String(std::string_view string) {
  return dateFromCharacters(string, {10, 5, 8});
}

std::optional<Date> ZDateUtilities::dateFromOFXString(std::string_view string) {
  return dateFromCharacters(string, {8, 4, 6});
}

std::optional<std::string> ZDateUtilities::ISO8601StringFromDate(std::optional<Date> date) {
  const std::optional<CivilDate> fields = componentsFromDate(date);
  if (!fields) return std::nullopt;
  return printDate(*fields, "-");
}

std::string ZDateUtilities::OFXStringFromDate(std::optional<Date> date) {
  return printDate(componentsFromDate(date).value_or(CivilDate{0, 0, 0}), "");
}

std::int64_t ZDateUtilities::timeZoneOffsetFromOFXTimeString(std::string_view string) {
  const std::size_t bracket = string.find('[');
  if (bracket == std::string_view::npos) return 0;
  const std::size_t field = bracket + 1;
  const std::size_t colon = string.find(':');
  if (colon == field) {
    const std::string characters = asCharacters(string.substr(field + 1));
    const std::optional<TimeZone> zone = TimeZone::withAbbreviation(cutOut(characters, 0, 3));
    return zone ? zone->secondsFromGMT(Timestamp()) : 0;
  }
  const std::size_t end = colon != std::string_view::npos ? colon : string.find(']');
  return secondsOfHours(cutOut(string, field, end));
}

std::optional<Date> ZDateUtilities::dateFromMonthDayYearString(std::string_view string) {
  const std::size_t first = string.find('/');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = string.find('/', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  const std::string_view last = string.substr(second + 1);
  if (last.find('/') != std::string_view::npos) return std::nullopt;
  // A number that is 0 makes no date: dateWithYear refuses it.
  return dateWithYear(integerValue(last), integerValue(string.substr(0, first)),
                      integerValue(string.substr(first + 1, second - first - 1)));
}

}  // namespace ztp
