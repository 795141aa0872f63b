// Guide: what the examples of the guide are written in: all headers of the library, and check().
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <concepts>
#include <optional>
#include <source_location>
#include <string>
#include <string_view>

#include "calendar/BusinessCalendar.h"
#include "calendar/Calendar.h"
#include "calendar/Chrono.h"
#include "calendar/DateFormatter.h"
#include "calendar/ErrorHandler.h"
#include "calendar/TimeZone.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::test {

inline std::string printed(bool value) {
  return value ? "yes" : "no";
}
inline std::string printed(std::integral auto value) {
  return std::to_string(value);
}
inline std::string printed(std::string_view value) {
  return std::string(value);
}
inline std::string printed(Timestamp value) {
  return toString(value);
}
template <class Value>
std::string printed(const std::optional<Value>& value) {
  return value ? printed(*value) : "none";
}

/// The day of a date as text.
inline std::string dayOf(std::optional<Date> date) {
  return ZDateUtilities::ISO8601StringFromDate(date).value_or("none");
}

/// The value prints as that text.
template <class Value>
void check(const Value& value, std::string_view text,
           std::source_location where = std::source_location::current()) {
  EXPECT_EQ(printed(value), text) << where.file_name() << ":" << where.line();
}

}  // namespace ztp::test
