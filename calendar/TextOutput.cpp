// TextOutput: instants and days as text for logs, streams and failed tests.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

constexpr int microsecondsPerSecond = 1'000'000;

// ".25" for 250,000 microseconds, nothing for none.
std::string textOfFraction(int microseconds) {
  if (microseconds == 0) return {};
  std::string text = std::to_string(microsecondsPerSecond + microseconds);
  text.front() = '.';
  text.erase(text.find_last_not_of('0') + 1);
  return text;
}

// A second of the day as "T13:30:00".
std::string textOfTime(int second) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "T%02d:%02d:%02d", second / 3600,
                                   second / 60 % 60, second % 60);
  return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string toString(const CivilDate& date) {
  std::array<char, 48> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", date.year, date.month, date.day);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string toString(Timestamp instant) {
  const std::optional<std::int64_t> seconds = wholeSeconds(instant);
  const DayAndSecond at = splitSeconds(seconds.value_or(0));
  if (!seconds || !isCalendarDay(at.day)) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%g s since 2001", instant.secondsSinceReference());
    return text.data();
  }
  const double fraction = instant.secondsSinceReference() - static_cast<double>(*seconds);
  // Rounded, as a decimal that was read is a little less or more in binary; never up to a second.
  const int microseconds = std::min(static_cast<int>(std::lround(fraction * microsecondsPerSecond)),
                                    microsecondsPerSecond - 1);
  return toString(civilDateFromDayNumber(static_cast<DayNumber>(at.day))) + textOfTime(at.second) +
         textOfFraction(microseconds) + 'Z';
}

std::ostream& operator<<(std::ostream& out, Timestamp instant) {
  return out << toString(instant);
}

std::ostream& operator<<(std::ostream& out, const CivilDate& date) {
  return out << toString(date);
}

}  // namespace ztp
