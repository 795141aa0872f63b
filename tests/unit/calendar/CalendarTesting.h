// CalendarTesting: the words of the calendar tests: days and instants by their numbers, results as
// text (so that a failure reads as dates), and a local time zone of the test's own.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "calendar/CivilDate.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"

namespace ztp::test {

/// The instant of numbers in range, read as UTC.
Timestamp utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
              double fraction = 0.0);

/// Noon UTC.
Date day(int year, int month, int day);

/// "2019-03-15" for an instant at noon UTC, "2019-03-15 13:30:00.25" for any other, "none".
std::string text(std::optional<Timestamp> instant);

/// The named zone; a test without it cannot go on, and throws.
TimeZone zone(const char* name);

/// Sets TZ (or unsets it, for a null pointer) for the life of the object.
class LocalZoneIs {
 public:
  explicit LocalZoneIs(const char* name);
  ~LocalZoneIs();
  LocalZoneIs(const LocalZoneIs&) = delete;
  LocalZoneIs& operator=(const LocalZoneIs&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace ztp::test
