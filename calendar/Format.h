// Format: instants and days for std::format, where the standard library has it, and for fmt, where
// that is installed. Header only; the library itself needs neither.
//
//   "{}"      a Timestamp as "2019-03-15T13:30:00Z" (Timestamp.h), a CivilDate as "2019-03-15"
//   "{:d}"    the day of a Timestamp in UTC, so of a Date its own: "2019-03-15"
//   "{:>24}"  width, fill and alignment as for a string
#pragma once

#if __has_include(<format>)
#include <format>
#endif
#if __has_include(<fmt/format.h>)
#include <fmt/format.h>
#endif

#include <optional>
#include <string>

#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"
#include "calendar/WholeSeconds.h"

namespace ztp::format_detail {

/// The text of "{:d}", that of "{}" where the calendar has no such day.
[[nodiscard]] inline std::string textOfDay(Timestamp instant) {
  const std::optional<DayNumber> day = dayOfTimestamp(instant);
  return day ? toString(civilDateFromDayNumber(*day)) : toString(instant);
}

/// What both libraries' formatters do; Base is theirs for strings.
template <class Base>
struct TimestampFormatter : Base {
  template <class ParseContext>
  constexpr auto parse(ParseContext& context) {
    auto at = context.begin();
    if (at != context.end() && *at == 'd' && (at + 1 == context.end() || *(at + 1) == '}')) {
      isDay_ = true;
      context.advance_to(at + 1);
    }
    return Base::parse(context);
  }

  template <class Context>
  auto format(Timestamp instant, Context& context) const {
    return Base::format(isDay_ ? textOfDay(instant) : toString(instant), context);
  }

 private:
  bool isDay_ = false;
};

template <class Base>
struct CivilDateFormatter : Base {
  template <class Context>
  auto format(const CivilDate& date, Context& context) const {
    return Base::format(toString(date), context);
  }
};

}  // namespace ztp::format_detail

#ifdef __cpp_lib_format
template <>
struct std::formatter<ztp::Timestamp>
    : ztp::format_detail::TimestampFormatter<std::formatter<std::string>> {};
template <>
struct std::formatter<ztp::CivilDate>
    : ztp::format_detail::CivilDateFormatter<std::formatter<std::string>> {};
#endif

#ifdef FMT_VERSION
template <>
struct fmt::formatter<ztp::Timestamp>
    : ztp::format_detail::TimestampFormatter<fmt::formatter<std::string>> {};
template <>
struct fmt::formatter<ztp::CivilDate>
    : ztp::format_detail::CivilDateFormatter<fmt::formatter<std::string>> {};
#endif
