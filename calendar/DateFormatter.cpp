// DateFormatter: joins a compiled pattern with a time zone.
#include "calendar/DateFormatter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "calendar/CivilDate.h"
#include "calendar/DatePattern.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

// Nanoseconds [0:999999999] above the whole second. The distance to the next double is given on
// top, so that a decimal fraction that was read prints as itself when the rest is cut off.
std::int64_t nanosecondsAbove(std::int64_t seconds, Timestamp instant) {
  const double exact = instant.secondsSinceReference();
  const double fraction = exact - static_cast<double>(seconds);
  if (fraction == 0.0) return 0;
  const double size = std::abs(exact);
  const double slack = std::nextafter(size, std::numeric_limits<double>::max()) - size;
  constexpr double nanoseconds = 1e9;
  return std::min<std::int64_t>(static_cast<std::int64_t>((fraction + slack) * nanoseconds),
                                999'999'999);
}

}  // namespace

DateFormatter::DateFormatter(std::string_view pattern, std::optional<TimeZone> timeZone)
    : pattern_(std::make_shared<const DatePattern>(pattern)), timeZone_(timeZone) {}

const std::string& DateFormatter::pattern() const {
  return pattern_->text();
}

std::optional<Timestamp> DateFormatter::timestampFromString(std::string_view text) const {
  const std::optional<ParsedTime> clock = pattern_->read(text);
  if (!clock) return std::nullopt;
  const std::int32_t offset = clock->secondsFromGMT
                                  ? *clock->secondsFromGMT
                                  : timeZone().secondsFromGMTAtWallClock(clock->seconds);
  return Timestamp(static_cast<double>(clock->seconds - offset) + clock->fraction);
}

std::optional<std::string> DateFormatter::stringFromTimestamp(
    std::optional<Timestamp> timestamp) const {
  if (!timestamp) return std::nullopt;
  const std::optional<std::int64_t> seconds = wholeSeconds(*timestamp);
  if (!seconds) return std::nullopt;
  const std::int32_t offset = timeZone().secondsFromGMT(*timestamp);
  const std::int64_t wallClock = *seconds + offset;
  if (!isCalendarDay(splitSeconds(wallClock).day)) return std::nullopt;
  const std::int64_t nanoseconds =
      pattern_->hasFraction() ? nanosecondsAbove(*seconds, *timestamp) : 0;
  return pattern_->print({wallClock, nanoseconds, offset});
}

}  // namespace ztp
