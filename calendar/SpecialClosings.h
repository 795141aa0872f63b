// SpecialClosings: the days from 1980 on when a market was closed for an event, or open although
// today's rules close it because the holiday began later. The rules of ZHolidayType.h, applied to
// all years alike, know nothing of them; BusinessCalendar::market takes them in when asked to.
#pragma once

#include <span>
#include <string_view>

#include "calendar/CivilDate.h"
#include "calendar/Export.h"
#include "calendar/ZHolidayType.h"

namespace ztp {

/// Whether a market's calendar knows its history, or the standing rules alone.
enum class SpecialClosings { excluded, included };

/// One day on which a market did otherwise than the rules say.
struct SpecialDay {
  CivilDate day;
  /// Closed for an event; otherwise open although the rules say closed.
  bool isClosed = true;
  /// The event, or the holiday that was not kept yet.
  std::string_view name;
  /// Who says so.
  std::string_view source;
};

/// The special days of a market in the order of their days; none for a type that is not a calendar.
/// Full days only: a session that began and was broken off is not a closing.
[[nodiscard]] ZANBURY_CALENDAR_API std::span<const SpecialDay> specialDays(ZHolidayType type);

}  // namespace ztp
