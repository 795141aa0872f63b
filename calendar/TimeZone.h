// TimeZone: a time zone as a value, over the system's zone files (IANA tzdata). Used wherever an
// instant meets a wall clock. The rules are the installed ones, never built in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calendar/Export.h"
#include "calendar/Timestamp.h"
#include "calendar/WallClockInstants.h"

namespace ztp {

class ZoneRules;

/// Which of them is meant.
enum class WallClockPolicy {
  offsetBefore,  ///< as everywhere here: after a gap by its length, and the first of two
  offsetAfter,   ///< before a gap by its length, and the second of two
  earlier,       ///< before a gap, and the first of two
  later,         ///< after a gap, and the second of two
  uniqueOnly,    ///< none, unless there is but one
};

/// A change of a zone's clocks, or of what its time is called.
struct ZoneTransition {
  /// The first instant of the new time.
  Timestamp instant;
  /// Seconds east of GMT; equal when only the name of the time changes.
  std::int32_t secondsFromGMTBefore = 0;
  std::int32_t secondsFromGMTAfter = 0;
  [[nodiscard]] friend constexpr bool operator==(const ZoneTransition&,
                                                 const ZoneTransition&) = default;
};

/// A time zone. Copying copies one pointer; the rules behind it are read once, never change and
/// live as long as the process, so a TimeZone may be used from any thread and at any time.
///
/// When tzdata is updated while the process runs: every zone that was named before keeps the rules
/// it has, also when it is named again; a zone named for the first time is read from the new files.
/// An answer once given stays right within the process; a program that has to follow at once
/// restarts.
class ZANBURY_CALENDAR_API TimeZone {
 public:
  /// 0 seconds from GMT, at all times.
  [[nodiscard]] static TimeZone utc();

  /// The system's local zone, looked up on every call: the one that the variable TZ names (a name,
  /// optionally behind ":", the absolute path of a zone file, or a POSIX abbreviation and offset
  /// without rules such as "UTC0" or "<+0545>-5:45"; empty is UTC), without TZ the one that
  /// /etc/localtime leads to, UTC when there is no such file. A TZ that says no zone is reported
  /// once on standard error ("ERROR: Unknown time zone: %@") and read as UTC.
  [[nodiscard]] static TimeZone local();

  /// The zone of this IANA name, such as "America/New_York"; absent when the system has no such
  /// zone. Names are compared exactly; one that would lead out of the zone folder is not a name.
  [[nodiscard]] static std::optional<TimeZone> named(std::string_view name);

  /// A zone this many seconds east of GMT at all times; absent for 24 hours or more.
  [[nodiscard]] static std::optional<TimeZone> fixed(std::int64_t secondsFromGMT);

  /// The fixed offset that an upper-case abbreviation stands for in any season: EST is -5 h and
  /// EDT -4 h. Absent when it is not known.
  [[nodiscard]] static std::optional<TimeZone> withAbbreviation(std::string_view abbreviation);

  /// The names of all zones that the system has, links included, in order; from the folder that the
  /// variable TZDIR names, else /usr/share/zoneinfo. Reads the folder on every call: milliseconds.
  [[nodiscard]] static std::vector<std::string> availableNames();

  /// "America/New_York", "UTC", "GMT-0500", "EST", or the path of the zone file.
  [[nodiscard]] std::string_view name() const;

  /// Seconds east of GMT that the zone's clocks show at the instant. Before the first rule it is
  /// the local mean time of the zone file; an instant that is not a number counts as the reference.
  [[nodiscard]] std::int32_t secondsFromGMT(Timestamp instant) const;

  /// The same for a time on the zone's clocks, given as the seconds since 2001-01-01 00:00:00 on
  /// them: the instant is that many seconds less the result. A time that the zone skips has the
  /// offset before the gap, and one that occurs twice that of the first time.
  [[nodiscard]] std::int32_t secondsFromGMTAtWallClock(std::int64_t wallClockSeconds) const;

  /// All instants at which the zone's clocks show that time, for those who must know.
  [[nodiscard]] WallClockInstants instantsAtWallClock(std::int64_t wallClockSeconds) const;

  /// What the time is called at the instant: "EST", "+0545"; the name of a zone of fixed offset.
  [[nodiscard]] std::string abbreviation(Timestamp instant) const;
  /// Whether it is daylight saving time then, by the zone file.
  [[nodiscard]] bool isDaylightTime(Timestamp instant) const;

  /// The first change after the instant; absent when there is none. Rules without an end are
  /// followed for some centuries.
  [[nodiscard]] std::optional<ZoneTransition> nextTransition(Timestamp after) const;
  /// The last change before the instant; absent when there is none.
  [[nodiscard]] std::optional<ZoneTransition> previousTransition(Timestamp before) const;

  /// The same zone: of the same name, read from the same file.
  [[nodiscard]] friend bool operator==(TimeZone, TimeZone) = default;

 private:
  explicit TimeZone(const ZoneRules& rules) : rules_(&rules) {}

  const ZoneRules* rules_;
};

/// The one that the policy chooses.
[[nodiscard]] ZANBURY_CALENDAR_API std::optional<Timestamp> instantByPolicy(
    const WallClockInstants& instants, WallClockPolicy policy);

}  // namespace ztp
