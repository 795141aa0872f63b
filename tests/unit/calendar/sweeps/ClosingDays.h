// The closing days of three calendars from 1990 to 2030 as their institutions announce them:
// literal lists, not made by any rule, for the holiday sweep to hold the rules against.
// ClosingDays.cpp says where they come from and how far they were checked.
#pragma once

#include <chrono>
#include <map>

namespace ztp::test {

/// What a published calendar says of a day. The rules of the library answer in the same words.
enum class DayKind {
  open,      ///< an ordinary day, or a weekend that no holiday falls on
  official,  ///< the day of the holiday itself (weekends too), or a closing for an event
  observed,  ///< closed in place of a holiday that falls on a weekend
};

/// Closing days by day; a day that is not in it is open.
using ClosingDays = std::map<std::chrono::sys_days, DayKind>;

inline constexpr int firstClosingYear = 1990;
inline constexpr int lastClosingYear = 2030;

/// The Federal Reserve Banks: its schedule K.8, which stars a holiday on a Saturday (the Banks open
/// on the Friday before) and one on a Sunday (they close on the Monday after).
const ClosingDays& federalReserveClosings();

/// The New York Stock Exchange: its holiday lists and its list of special closings, full days only.
const ClosingDays& newYorkClosings();

/// The Toronto Stock Exchange: its holiday lists, full days only.
const ClosingDays& torontoClosings();

}  // namespace ztp::test
