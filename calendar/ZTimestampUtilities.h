// ZTimestampUtilities: exact instants: their fixed text forms, their fields in a time zone, and day
// arithmetic in the user's calendar. ZDateUtilities.h is its companion for calendar days.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "calendar/Calendar.h"
#include "calendar/DateComponents.h"
#include "calendar/DateFormatter.h"
#include "calendar/Export.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"

namespace ztp {

/// Class operations on timestamps; there are no instances. All may be called from any thread.
///
/// Wherever a time zone may be absent, an absent one means the user's current zone. An absent
/// timestamp or date gives an absent result, and so does one beyond the calendar's range (the years
/// 1 to lastCalendarYear). Text that cannot be read gives no timestamp, and nothing is logged.
class ZANBURY_CALENDAR_API ZTimestampUtilities {
 public:
  ZTimestampUtilities() = delete;

  // Zones ---------------------------------------------------------------------------------------

  /// The system's local zone, looked up on every call (see TimeZone::local).
  [[nodiscard]] static TimeZone currentTimeZone();

  /// "America/New_York", looked up once. Throws std::runtime_error when the system's zone files
  /// do not have it: no other zone is put in its place.
  [[nodiscard]] static TimeZone estTimeZone();

  // From a date and a wall-clock time -----------------------------------------------------------

  /// The instant at which the clocks of the zone show hour:minute:second on the day of the date.
  /// Numbers out of range are normalised: hour 25 is 1 o'clock of the next day. A time that the
  /// zone skips is read with the offset before the gap; one that occurs twice is the first.
  [[nodiscard]] static std::optional<Timestamp> timestampWithDate(std::optional<Date> date,
                                                                  std::optional<TimeZone> timeZone,
                                                                  std::int64_t hour,
                                                                  std::int64_t minute,
                                                                  std::int64_t second);

  /// 0 o'clock of the day in the zone, its beginning; where the clocks skip it, as above.
  ///   timestampAtMidnightOnDate(2019-03-10, New York)   // 2019-03-10 05:00:00 UTC
  [[nodiscard]] static std::optional<Timestamp> timestampAtMidnightOnDate(
      std::optional<Date> date, std::optional<TimeZone> timeZone);

  /// 12 o'clock of the day in the zone.
  ///   timestampAtNoonOnDate(2019-03-10, New York)   // 2019-03-10 16:00:00 UTC, in daylight time
  [[nodiscard]] static std::optional<Timestamp> timestampAtNoonOnDate(
      std::optional<Date> date, std::optional<TimeZone> timeZone);

  // Text forms ----------------------------------------------------------------------------------

  /// Reads "2019-03-15T13:30:00Z", and with exactly three digits after a point where that fails
  /// and the text has a point: "2019-03-15T13:30:00.250Z" (ISO 8601, in UTC).
  [[nodiscard]] static std::optional<Timestamp> timestampFromISO8601String(std::string_view string);

  /// Prints "2019-03-15T13:30:00Z": whole seconds, a fraction is cut off.
  [[nodiscard]] static std::optional<std::string> ISO8601StringFromTimestamp(
      std::optional<Timestamp> timestamp);

  /// Reads "Fri, 15 Mar 2019 13:30:00 +0000" (RFC 1123), with any offset or "GMT". The weekday must
  /// be a weekday's name; that it is the day's own is not checked.
  [[nodiscard]] static std::optional<Timestamp> timestampFromRFC1123String(std::string_view string);

  /// Prints US Eastern time as "2019-07-01 08:00:00", without a zone designator.
  [[nodiscard]] static std::optional<std::string> ISO8601ESTStringFromTimestamp(
      std::optional<Timestamp> timestamp);

  /// Reads "03/15/2019 01:30:00PM" in the system's local zone: the form of test cases.
  [[nodiscard]] static std::optional<Timestamp> timestampFromZanburyTestCaseString(
      std::string_view string);

  // Fields and days -----------------------------------------------------------------------------

  /// Year, month, day, hour, minute and second of the instant in the zone.
  [[nodiscard]] static std::optional<DateComponents> componentsForTimestamp(
      std::optional<Timestamp> timestamp, std::optional<TimeZone> timeZone);

  /// Whole days from start to end by the user's wall clock, negative when the end is the earlier:
  /// 1 for 47 hours, -1 for -47. Without an end it is 0.
  /// Throws ParameterAssertion (ParameterAssertion.h) without a start ("ZTimestampUtilities", line
  /// 206).
  [[nodiscard]] static std::int64_t numberOfDaysFromTimestamp(std::optional<Timestamp> start,
                                                              std::optional<Timestamp> end);

  /// The instant that many days later at the same time on the user's wall clock, whatever changes
  /// of the clocks lie between.
  [[nodiscard]] static std::optional<Timestamp> timestampByAddingDays(
      std::int64_t days, std::optional<Timestamp> timestamp);

  // What the others stand on --------------------------------------------------------------------

  /// The user's calendar; its zone follows later changes of the local zone.
  [[nodiscard]] static Calendar _currentCalendar();

  /// The calling thread's formatters of the three fixed forms: made on a thread's first use, kept
  /// in its ThreadDictionary (ThreadDictionary.h) under "<receiving class>:<suffix>", all in UTC. A
  /// class that derives its own forms hands in its name and gets formatters of its own.
  ///   suffix "ISO8601DateFormatter",                 pattern "yyyy-MM-dd'T'HH:mm:ss'Z'"
  ///   suffix "RCF1123DateFormatter",                 pattern "EEE, dd MMM yyyy HH':'mm':'ss Z"
  ///   suffix "ISO8601WithMillisecondsDateFormatter", pattern "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"
  [[nodiscard]] static const DateFormatter& _threadLocalISO8601GMTDateFormatter(
      std::string_view receivingClass = className);
  [[nodiscard]] static const DateFormatter& _threadLocalRCF1123GMTDateFormatter(
      std::string_view receivingClass = className);
  [[nodiscard]] static const DateFormatter& _threadLocalISO8601WithMillisecondsGMTDateFormatter(
      std::string_view receivingClass = className);

  /// The name under which this class keeps its formatters and reports assertions.
  static constexpr std::string_view className = "ZTimestampUtilities";
};

}  // namespace ztp
