// Calendar: takes instants apart into the fields of a wall clock and puts them together again, in
// one time zone. The day arithmetic is that of CivilDate.h; this adds the time of day and the zone.
#pragma once

#include <cstdint>
#include <optional>

#include "calendar/DateComponents.h"
#include "calendar/Export.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"

namespace ztp {

/// A calendar with a time zone of its own, or one that follows the system's local zone. A value
/// that never changes; safe to share between threads.
class ZANBURY_CALENDAR_API Calendar {
 public:
  /// The calendar in one zone.
  explicit Calendar(TimeZone timeZone) : timeZone_(timeZone) {}

  /// The calendar of the user: its zone is the local one at the time of each use.
  [[nodiscard]] static Calendar autoupdatingCurrent() { return Calendar(); }

  /// A copy of this calendar, in the given zone.
  [[nodiscard]] Calendar withTimeZone(TimeZone timeZone) const { return Calendar(timeZone); }

  /// The zone that the next use will read, now.
  [[nodiscard]] TimeZone timeZone() const { return timeZone_ ? *timeZone_ : TimeZone::local(); }

  /// Year to second of the instant on this calendar's wall clock, without a zone; absent when the
  /// day lies beyond the calendar's range.
  [[nodiscard]] std::optional<DateComponents> componentsFromTimestamp(Timestamp instant) const {
    return componentsFromTimestamp(instant, timeZone());
  }
  /// The same on the wall clock of any zone, without a calendar.
  [[nodiscard]] static std::optional<DateComponents> componentsFromTimestamp(Timestamp instant,
                                                                             TimeZone timeZone);

  /// The instant of the fields, which may be out of range and are then normalised; read in their
  /// own zone when they have one. Absent beyond the calendar's range.
  ///   {2019, 3, 10, 0, 0, 0} in America/New_York   // 2019-03-10 05:00:00 UTC
  ///   {2019, 3, 10, 2, 30, 0}, a time skipped      // 07:30:00 UTC, as 02:30 -05:00
  [[nodiscard]] std::optional<Timestamp> timestampFromComponents(
      const DateComponents& fields) const;
  /// The same by the policy where the clocks skip or repeat the time.
  [[nodiscard]] std::optional<Timestamp> timestampFromComponents(const DateComponents& fields,
                                                                 WallClockPolicy policy) const;
  /// All that the fields may stand for (TimeZone.h); absent as above.
  [[nodiscard]] std::optional<WallClockInstants> instantsFromComponents(
      const DateComponents& fields) const;

  /// The instant that many days later at the same wall-clock time, 23 or 25 hours away for a day
  /// on which the clocks change. Fractions of a second are kept. Absent beyond the range.
  [[nodiscard]] std::optional<Timestamp> timestampByAddingDays(std::int64_t days,
                                                               Timestamp instant) const;

  /// Whole days from start to end by this wall clock, negative when the end is the earlier; a
  /// partial day does not count. 0 when either lies beyond the calendar's range.
  [[nodiscard]] std::int64_t numberOfDays(Timestamp start, Timestamp end) const;

 private:
  Calendar() = default;

  std::optional<TimeZone> timeZone_;
};

}  // namespace ztp
