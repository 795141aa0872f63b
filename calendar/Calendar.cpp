// Calendar: wall-clock fields by integer arithmetic, the zone's offset added on the way.
#include "calendar/Calendar.h"

#include <algorithm>

#include "calendar/CivilDate.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

// Whether the day that a clock shows is one of the calendar.
bool isWallClockOfCalendar(std::int64_t wallClock) {
  return wallClock >= earliestSecond && wallClock < latestSecond &&
         isCalendarDay(splitSeconds(wallClock).day);
}

// The time on the clock that the fields say; absent beyond the calendar.
std::optional<std::int64_t> wallClockOfFields(const DateComponents& fields) {
  const std::optional<DayNumber> day = dayNumberRollingOver(fields.year, fields.month, fields.day);
  const std::optional<std::int64_t> time = secondsOfTime(fields.hour, fields.minute, fields.second);
  if (!day || !time) return std::nullopt;
  const std::int64_t wallClock = *day * secondsPerDay + *time;
  return isWallClockOfCalendar(wallClock) ? std::optional(wallClock) : std::nullopt;
}

// The clock's reading at an instant, and the part of a second that it does not show.
struct WallClock {
  std::int64_t seconds;
  double fraction;
};

std::optional<WallClock> wallClockOf(Timestamp instant, TimeZone zone) {
  const std::optional<std::int64_t> seconds = wholeSeconds(instant);
  if (!seconds) return std::nullopt;
  return WallClock{*seconds + zone.secondsFromGMT(instant),
                   instant.secondsSinceReference() - static_cast<double>(*seconds)};
}

}  // namespace

std::optional<DateComponents> Calendar::componentsFromTimestamp(Timestamp instant,
                                                                TimeZone timeZone) {
  std::optional<DateComponents> fields;  // the one result, filled in where the caller wants it
  const std::optional<std::int64_t> seconds = wholeSeconds(instant);
  if (!seconds) return fields;
  const DayAndSecond at = splitSeconds(*seconds + timeZone.secondsFromGMT(instant));
  if (!isCalendarDay(at.day)) return fields;
  const CivilDate date = civilDateFromDayNumber(static_cast<DayNumber>(at.day));
  fields.emplace();
  fields->year = date.year;
  fields->month = date.month;
  fields->day = date.day;
  fields->hour = at.second / 3600;
  fields->minute = at.second / 60 % 60;
  fields->second = at.second % 60;
  return fields;
}

std::optional<Timestamp> Calendar::timestampFromComponents(const DateComponents& fields) const {
  const std::optional<std::int64_t> wallClock = wallClockOfFields(fields);
  if (!wallClock) return std::nullopt;
  const TimeZone zone = fields.timeZone ? *fields.timeZone : timeZone();
  return Timestamp(static_cast<double>(*wallClock - zone.secondsFromGMTAtWallClock(*wallClock)));
}

std::optional<Timestamp> Calendar::timestampFromComponents(const DateComponents& fields,
                                                           WallClockPolicy policy) const {
  const std::optional<WallClockInstants> instants = instantsFromComponents(fields);
  return instants ? instantByPolicy(*instants, policy) : std::nullopt;
}

std::optional<WallClockInstants> Calendar::instantsFromComponents(
    const DateComponents& fields) const {
  const std::optional<std::int64_t> wallClock = wallClockOfFields(fields);
  if (!wallClock) return std::nullopt;
  return (fields.timeZone ? *fields.timeZone : timeZone()).instantsAtWallClock(*wallClock);
}

std::optional<Timestamp> Calendar::timestampByAddingDays(std::int64_t days,
                                                         Timestamp instant) const {
  const TimeZone zone = timeZone();
  const std::optional<WallClock> clock = wallClockOf(instant, zone);
  if (!clock) return std::nullopt;
  if (days == 0) return instant;
  constexpr std::int64_t limit = (latestSecond - earliestSecond) / secondsPerDay;
  if (days < -limit || days > limit) return std::nullopt;
  const std::int64_t moved = clock->seconds + days * secondsPerDay;
  if (!isWallClockOfCalendar(moved)) return std::nullopt;
  return Timestamp(static_cast<double>(moved - zone.secondsFromGMTAtWallClock(moved)) +
                   clock->fraction);
}

std::int64_t Calendar::numberOfDays(Timestamp start, Timestamp end) const {
  const Calendar here(timeZone());  // one zone for the whole answer
  const std::optional<WallClock> from = wallClockOf(start, *here.timeZone_);
  const std::optional<WallClock> to = wallClockOf(end, *here.timeZone_);
  if (!from || !to) return 0;
  // Between the readings lie so many midnights. It is one day more when the clock was set back past
  // midnight on the way, and fewer when the time of the start is not reached again.
  const std::int64_t midnights = splitSeconds(to->seconds).day - splitSeconds(from->seconds).day;
  const auto isReached = [&](std::int64_t days) {
    const std::optional<Timestamp> reached = here.timestampByAddingDays(days, start);
    return reached && (days > 0 ? *reached <= end : *reached >= end);
  };
  if (end >= start) {
    std::int64_t days = std::max<std::int64_t>(midnights + 1, 0);
    while (days > 0 && !isReached(days)) --days;
    return days;
  }
  std::int64_t days = std::min<std::int64_t>(midnights - 1, 0);
  while (days < 0 && !isReached(days)) ++days;
  return days;
}

}  // namespace ztp
