// CalendarTesting: how the words are spelled out.
#include "CalendarTesting.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace ztp::test {

Timestamp utc(int year, int month, int day, int hour, int minute, int second, double fraction) {
  const double days = dayNumberFromCivilDate({year, month, day});
  return Timestamp(days * 86'400.0 + hour * 3600.0 + minute * 60.0 + second + fraction);
}

Date day(int year, int month, int day) {
  return utc(year, month, day, 12);
}

std::string text(std::optional<Timestamp> instant) {
  if (!instant) return "none";
  const double whole = std::floor(instant->secondsSinceReference());
  const double days = std::floor(whole / 86'400.0);
  const CivilDate date = civilDateFromDayNumber(static_cast<DayNumber>(days));
  const int second = static_cast<int>(whole - days * 86'400.0);
  const double fraction = instant->secondsSinceReference() - whole;
  std::array<char, 64> text{};
  int length =
      std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", date.year, date.month, date.day);
  std::string result(text.data(), static_cast<std::size_t>(length));
  if (second == 43'200 && fraction == 0.0) return result;
  length = std::snprintf(text.data(), text.size(), " %02d:%02d:%02d", second / 3600,
                         second / 60 % 60, second % 60);
  result.append(text.data(), static_cast<std::size_t>(length));
  if (fraction != 0.0) {
    length = std::snprintf(text.data(), text.size(), "%.6g", fraction);
    result.append(text.data() + 1, static_cast<std::size_t>(length) - 1);
  }
  return result;
}

TimeZone zone(const char* name) {
  return TimeZone::named(name).value();
}

LocalZoneIs::LocalZoneIs(const char* name) {
  if (const char* before = std::getenv("TZ")) before_ = before;
  if (name) {
    setenv("TZ", name, 1);
  } else {
    unsetenv("TZ");
  }
}

LocalZoneIs::~LocalZoneIs() {
  if (before_) {
    setenv("TZ", before_->c_str(), 1);
  } else {
    unsetenv("TZ");
  }
}

}  // namespace ztp::test
