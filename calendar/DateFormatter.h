// DateFormatter: instants to text and back by a pattern of Unicode Technical Standard 35 letters.
// The fixed forms, the display form and the forms that callers bring are all formatters of this
// kind.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "calendar/Export.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"

namespace ztp {

class DatePattern;

/// A compiled pattern, a time zone, and English names ("en_US_POSIX") whatever the locale is.
/// Never changes after construction; copies share the compiled pattern; safe to share.
///
/// The letters, each with its widths:
///
///   y      year: "yy" the last two digits (read as the year from 80 before this one to 19 after
///          it that ends so), other widths printed with at least so many digits
///   M      month: M, MM digits; MMM "Mar"; MMMM "March"
///   d      day of the month: d, dd
///   E      weekday: E to EEE "Fri"; EEEE "Friday". Read, it must be a weekday's name, of any day
///   H, h   hour: 0 to 23; 1 to 12, for use with a
///   m, s   minute, second: 0 to 59
///   S      fraction of a second, as many digits as letters, the rest cut off
///   a      "AM" or "PM"
///   Z      offset from GMT: Z to ZZZ "+0000" (read also "GMT"); ZZZZ "GMT" or "GMT-05:00";
///          ZZZZZ "Z" or "-05:00"
///
/// Other letters are not known; all other characters and whatever stands between apostrophes stand
/// for themselves, and two apostrophes for one.
///
/// Reading is strict. A numeric field of one letter takes one digit or as many as its range can
/// have, a longer one exactly its width; there is nothing before, between or after the fields but
/// what the pattern has, no blank and no sign; fields are in range and the day exists. Names and
/// AM/PM are read in any case. Fields that the pattern lacks are those of 2000-01-01 00:00:00.
///   DateFormatter("MM/dd/yyyy", TimeZone::utc()).timestampFromString("03/15/2019")
class ZANBURY_CALENDAR_API DateFormatter {
 public:
  /// Compiles the pattern; without a zone the formatter reads and prints in the system's local one
  /// at the time of each use. Throws std::invalid_argument for a letter or width that is not known
  /// and for an apostrophe without its second.
  explicit DateFormatter(std::string_view pattern, std::optional<TimeZone> timeZone = std::nullopt);

  /// The pattern as it was given.
  [[nodiscard]] const std::string& pattern() const;
  /// The zone given, else the local one as of now.
  [[nodiscard]] TimeZone timeZone() const { return timeZone_ ? *timeZone_ : TimeZone::local(); }

  /// The instant that the text says, to the millisecond and finer where the pattern has fractions;
  /// absent when the text is not exactly of the pattern's form.
  [[nodiscard]] std::optional<Timestamp> timestampFromString(std::string_view text) const;

  /// The text of an instant, what is smaller than its last field cut off; absent for no instant and
  /// for one beyond the calendar's range.
  [[nodiscard]] std::optional<std::string> stringFromTimestamp(
      std::optional<Timestamp> timestamp) const;

 private:
  std::shared_ptr<const DatePattern> pattern_;
  std::optional<TimeZone> timeZone_;
};

}  // namespace ztp
