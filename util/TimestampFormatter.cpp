// Calendar arithmetic in whole days, and the one form of a timestamp.
#include "util/TimestampFormatter.h"

#include <cmath>
#include <cstdint>

#include <fmt/format.h>

namespace ztp {
namespace {

constexpr std::int64_t secondsPerDay = 86'400;
constexpr double farthestSecond = 1e6 * 365.2425 * 86'400;  // a million years

// Day counts are days since 1 January 1970.
constexpr std::int64_t gregorianStart = -141'427;     // 15 October 1582
constexpr std::int64_t gregorianYearZero = -719'468;  // 1 March of the year 0, in either calendar:
constexpr std::int64_t julianYearZero = -719'470;     // years are counted from March here

struct CivilDay {
  std::int64_t year;
  int month;
  int day;
  bool operator==(const CivilDay&) const = default;
};

std::int64_t floorDivide(std::int64_t dividend, std::int64_t divisor) {
  const std::int64_t quotient = dividend / divisor;
  return dividend % divisor < 0 ? quotient - 1 : quotient;
}

enum class Calendar { julian, gregorian };

// Days from 1 March of the year 0 to 1 March of a year.
std::int64_t daysBeforeYear(std::int64_t year, Calendar calendar) {
  const std::int64_t julian = 365 * year + floorDivide(year, 4);
  if (calendar == Calendar::julian) return julian;
  return julian - floorDivide(year, 100) + floorDivide(year, 400);
}

std::int64_t yearZero(Calendar calendar) {
  return calendar == Calendar::julian ? julianYearZero : gregorianYearZero;
}

std::int64_t dayNumber(const CivilDay& date, Calendar calendar) {
  const std::int64_t year = date.month > 2 ? date.year : date.year - 1;
  const int monthsSinceMarch = (date.month + 9) % 12;
  return yearZero(calendar) + daysBeforeYear(year, calendar) + (153 * monthsSinceMarch + 2) / 5 +
         date.day - 1;
}

CivilDay civilDay(std::int64_t dayNumber) {
  const auto calendar = dayNumber < gregorianStart ? Calendar::julian : Calendar::gregorian;
  const std::int64_t days = dayNumber - yearZero(calendar);
  std::int64_t year = floorDivide(days * 400, 146'097);  // right, or one off
  while (daysBeforeYear(year + 1, calendar) <= days) ++year;
  while (daysBeforeYear(year, calendar) > days) --year;
  const auto dayOfYear = static_cast<int>(days - daysBeforeYear(year, calendar));
  const int monthsSinceMarch = (5 * dayOfYear + 2) / 153;
  const int month = (monthsSinceMarch + 2) % 12 + 1;
  return {month > 2 ? year : year + 1, month, dayOfYear - (153 * monthsSinceMarch + 2) / 5 + 1};
}

// Absent for a day that the calendar does not have.
std::optional<std::int64_t> dayNumber(const CivilDay& date) {
  if (date.year < 1 || date.month < 1 || date.month > 12 || date.day < 1) return std::nullopt;
  const std::int64_t gregorian = dayNumber(date, Calendar::gregorian);
  const std::int64_t number =
      gregorian >= gregorianStart ? gregorian : dayNumber(date, Calendar::julian);
  if (civilDay(number) != date) return std::nullopt;
  return number;
}

// Cuts numbers and marks off the front of a text; remembers whether all was as it should be.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text) : rest_(text) {}

  int number(std::size_t digits) {
    const std::string_view field = rest_.substr(0, digits);
    fits_ = fits_ && field.size() == digits;
    int value = 0;
    for (const char digit : field) {
      fits_ = fits_ && digit >= '0' && digit <= '9';
      value = value * 10 + (digit - '0');
    }
    rest_.remove_prefix(field.size());
    return value;
  }
  void mark(char character) {
    fits_ = fits_ && rest_.starts_with(character);
    rest_.remove_prefix(rest_.empty() ? 0 : 1);
  }
  [[nodiscard]] bool fitsToTheEnd() const { return fits_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool fits_ = true;
};

}  // namespace

std::string TimestampFormatter::stringFromDate(Instant date) const {
  const double seconds = std::floor(date.time_since_epoch().count());
  if (!(std::abs(seconds) <= farthestSecond)) return {};
  const auto whole = static_cast<std::int64_t>(seconds);
  const std::int64_t days = floorDivide(whole, secondsPerDay);
  const std::int64_t second = whole - days * secondsPerDay;
  const auto [year, month, day] = civilDay(days);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", year > 0 ? year : 1 - year, month, day,
                     second / 3600, second / 60 % 60, second % 60);
}

std::optional<Instant> TimestampFormatter::dateFromString(std::string_view text) const {
  FieldReader reader(text);
  CivilDay date{};
  date.year = reader.number(4);
  reader.mark('-');
  date.month = reader.number(2);
  reader.mark('-');
  date.day = reader.number(2);
  reader.mark('T');
  const std::int64_t hour = reader.number(2);
  reader.mark(':');
  const std::int64_t minute = reader.number(2);
  reader.mark(':');
  const std::int64_t second = reader.number(2);
  reader.mark('Z');
  if (!reader.fitsToTheEnd() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const auto days = dayNumber(date);
  if (!days) return std::nullopt;
  const auto seconds = *days * secondsPerDay + hour * 3600 + minute * 60 + second;
  return Instant(std::chrono::duration<double>(static_cast<double>(seconds)));
}

}  // namespace ztp
