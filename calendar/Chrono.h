// Chrono: std::chrono's days, dates, weekdays and instants to this library's and back, at the cost
// of an addition. Header only.
//
//   sys_days, year_month_day, weekday    <->  Date, CivilDate, weekday numbers
//   sys_time<any duration>               <->  Timestamp
//   local_time, year_month_day           <->  DateComponents
//   Timestamp + 90min, timestamp -= 5s
//
// The trap: std::chrono has the Gregorian calendar at all times, this library the Julian one before
// 15 October 1582. Conversions keep the day, not its name: 4 October 1582 here is the
// year_month_day 1582-10-14. From that October on the names are the same.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <ratio>

#include "calendar/CivilDate.h"
#include "calendar/DateComponents.h"
#include "calendar/Timestamp.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace chrono_detail {

/// 2001-01-01, on which this library counts from 0.
inline constexpr std::int64_t unixDayOfReference = 11'323;
inline constexpr std::int64_t unixSecondOfReference = unixDayOfReference * secondsPerDay;

/// The last year that a std::chrono::year can hold.
inline constexpr std::int32_t lastStandardYear = 32'767;

[[nodiscard]] constexpr std::chrono::sys_days sysDaysFromNumber(DayNumber number) {
  return std::chrono::sys_days(std::chrono::days(number + unixDayOfReference));
}

}  // namespace chrono_detail

// Days -------------------------------------------------------------------------------------------

/// The date of a day. One beyond the calendar's range is a Date that the library has no answers
/// for.
[[nodiscard]] constexpr Date dateFromSysDays(std::chrono::sys_days day) {
  // In doubles nothing overflows, and they are exact for every day that a calendar has.
  const auto days = static_cast<double>(day.time_since_epoch().count());
  return Date((days - static_cast<double>(chrono_detail::unixDayOfReference)) *
                  static_cast<double>(secondsPerDay) +
              static_cast<double>(noonSecond));
}

/// The day, in UTC, of a date or any other instant; absent beyond the calendar's range.
[[nodiscard]] constexpr std::optional<std::chrono::sys_days> sysDaysFromDate(Date date) {
  const std::optional<DayNumber> number = dayOfTimestamp(date);
  if (!number) return std::nullopt;
  return chrono_detail::sysDaysFromNumber(*number);
}

/// The date of a day by its Gregorian name; absent when there is no such day (2019-02-30).
///   dateFromYearMonthDay(2019y / March / 15)   // 2019-03-15
[[nodiscard]] constexpr std::optional<Date> dateFromYearMonthDay(
    const std::chrono::year_month_day& name) {
  if (!name.ok()) return std::nullopt;
  return dateFromSysDays(name);
}

/// The Gregorian name of the day, in UTC, of a date or any other instant; absent beyond the
/// calendar's range and after the year 32767, where std::chrono ends.
[[nodiscard]] constexpr std::optional<std::chrono::year_month_day> yearMonthDayFromDate(Date date) {
  constexpr DayNumber last = dayNumberFromCivilDate({chrono_detail::lastStandardYear, 12, 31});
  const std::optional<DayNumber> number = dayOfTimestamp(date);
  if (!number || *number > last) return std::nullopt;
  return std::chrono::year_month_day(chrono_detail::sysDaysFromNumber(*number));
}

/// The name that this library has for the day of a Gregorian name; absent when there is no such
/// day, and before the calendar's first, 1 January of the year 1 here, which is 0000-12-30 there.
[[nodiscard]] constexpr std::optional<CivilDate> civilDateFromYearMonthDay(
    const std::chrono::year_month_day& name) {
  if (!name.ok()) return std::nullopt;
  const std::int64_t number =
      std::chrono::sys_days(name).time_since_epoch().count() - chrono_detail::unixDayOfReference;
  if (!isCalendarDay(number)) return std::nullopt;
  return civilDateFromDayNumber(static_cast<DayNumber>(number));
}

/// The Gregorian name of an existing day; absent for any other and after the year 32767.
[[nodiscard]] constexpr std::optional<std::chrono::year_month_day> yearMonthDayFromCivilDate(
    const CivilDate& date) {
  if (!isExistingDay(date)) return std::nullopt;
  return yearMonthDayFromDate(dateOfDay(dayNumberFromCivilDate(date)));
}

// Weekdays ---------------------------------------------------------------------------------------

/// 1 (Sunday) to 7 (Saturday); 0 for a weekday that is not ok().
///   weekdayNumber(std::chrono::Monday)   // 2
[[nodiscard]] constexpr int weekdayNumber(std::chrono::weekday weekday) {
  return weekday.ok() ? static_cast<int>(weekday.c_encoding()) + 1 : 0;
}

/// The weekday of a number from 1 (Sunday) to 7 (Saturday); absent for any other number.
[[nodiscard]] constexpr std::optional<std::chrono::weekday> weekdayFromNumber(int number) {
  if (number < 1 || number > 7) return std::nullopt;
  return std::chrono::weekday(static_cast<unsigned>(number - 1));
}

/// The weekday, in UTC, of a date or any other instant; absent beyond the calendar's range.
[[nodiscard]] constexpr std::optional<std::chrono::weekday> weekdayFromDate(Date date) {
  const std::optional<std::chrono::sys_days> day = sysDaysFromDate(date);
  if (!day) return std::nullopt;
  return std::chrono::weekday(*day);
}

// Instants ---------------------------------------------------------------------------------------

/// The instant, to the nearest number that a double holds: about a tenth of a microsecond today.
template <class Duration>
[[nodiscard]] constexpr Timestamp timestampFromSysTime(std::chrono::sys_time<Duration> time) {
  using Period = typename Duration::period;
  constexpr auto reference = static_cast<double>(chrono_detail::unixSecondOfReference);
  if constexpr (std::chrono::treat_as_floating_point_v<typename Duration::rep> ||
                std::ratio_greater_equal_v<Period, std::ratio<1>>) {
    const std::chrono::duration<double> sinceUnix = time.time_since_epoch();
    return Timestamp(sinceUnix.count() - reference);
  } else {
    // Taken apart, so that the large number does not swallow digits of the small one.
    const std::chrono::sys_seconds whole = std::chrono::floor<std::chrono::seconds>(time);
    const std::chrono::duration<double> fraction = time - whole;
    return Timestamp(static_cast<double>(whole.time_since_epoch().count()) - reference +
                     fraction.count());
  }
}

/// The time point whose instant this is, else the last one before it: what came from
/// timestampFromSysTime comes back as it was, wherever a double tells one Duration from the next
/// (milliseconds for 130,000 years around 2001, microseconds for 100). Absent beyond the range of
/// the calendar or of the Duration (nanoseconds end in 2262).
///   sysTimeFromTimestamp<std::chrono::seconds>(Timestamp(1.9))   // 2001-01-01 00:00:01
template <class Duration>
[[nodiscard]] constexpr std::optional<std::chrono::sys_time<Duration>> sysTimeFromTimestamp(
    Timestamp instant) {
  using Rep = typename Duration::rep;
  using Period = typename Duration::period;
  using Time = std::chrono::sys_time<Duration>;
  const std::optional<std::int64_t> seconds = wholeSeconds(instant);
  if (!seconds) return std::nullopt;
  if constexpr (std::chrono::treat_as_floating_point_v<Rep>) {
    const std::chrono::duration<double> sinceUnix(instant.unixSeconds());
    return Time(std::chrono::duration_cast<Duration>(sinceUnix));
  } else {
    constexpr double perSecond =
        static_cast<double>(Period::den) / static_cast<double>(Period::num);
    constexpr double limit = static_cast<double>(std::numeric_limits<Rep>::max()) - perSecond;
    const std::chrono::sys_seconds whole(
        std::chrono::seconds(*seconds + chrono_detail::unixSecondOfReference));
    const double count = static_cast<double>(whole.time_since_epoch().count()) * perSecond;
    if (count >= limit || count <= -limit) return std::nullopt;
    if constexpr (std::ratio_greater_equal_v<Period, std::ratio<1>>) {
      return std::chrono::floor<Duration>(whole);
    } else {
      const double fraction = instant.secondsSinceReference() - static_cast<double>(*seconds);
      const Time below = std::chrono::time_point_cast<Duration>(whole) +
                         Duration(static_cast<Rep>(fraction * perSecond));
      const Time next = below + Duration(1);
      const bool isNext =
          timestampFromSysTime(below) != instant && timestampFromSysTime(next) == instant;
      return isNext ? next : below;
    }
  }
}

/// The instant a duration later or earlier.
///   timestamp + std::chrono::minutes(90)
template <class Rep, class Period>
[[nodiscard]] constexpr Timestamp operator+(Timestamp instant,
                                            std::chrono::duration<Rep, Period> duration) {
  return instant + std::chrono::duration<double>(duration).count();
}
template <class Rep, class Period>
[[nodiscard]] constexpr Timestamp operator-(Timestamp instant,
                                            std::chrono::duration<Rep, Period> duration) {
  return instant - std::chrono::duration<double>(duration).count();
}
template <class Rep, class Period>
constexpr Timestamp& operator+=(Timestamp& instant, std::chrono::duration<Rep, Period> duration) {
  return instant = instant + duration;
}
template <class Rep, class Period>
constexpr Timestamp& operator-=(Timestamp& instant, std::chrono::duration<Rep, Period> duration) {
  return instant = instant - duration;
}

// Wall clocks ------------------------------------------------------------------------------------

/// What a wall clock shows at a local time: fields without a zone, a fraction of a second dropped;
/// absent beyond the calendar's range. local_days{2019y / March / 15} is midnight of a day.
template <class Duration>
[[nodiscard]] inline std::optional<DateComponents> componentsFromLocalTime(
    std::chrono::local_time<Duration> time) {
  const auto instant = [&] {
    if constexpr (std::ratio_less_v<typename Duration::period, std::ratio<1>>) {
      return std::chrono::sys_seconds(
          std::chrono::floor<std::chrono::seconds>(time).time_since_epoch());
    } else {
      return std::chrono::sys_time<Duration>(time.time_since_epoch());
    }
  }();
  const std::optional<std::int64_t> seconds = wholeSeconds(timestampFromSysTime(instant));
  if (!seconds) return std::nullopt;
  const DayAndSecond at = splitSeconds(*seconds);
  if (!isCalendarDay(at.day)) return std::nullopt;
  const CivilDate date = civilDateFromDayNumber(static_cast<DayNumber>(at.day));
  return DateComponents{date.year,           date.month,     date.day,    at.second / 3600,
                        at.second / 60 % 60, at.second % 60, std::nullopt};
}

/// The local time that the fields show, which may be out of range and are then normalised; their
/// zone plays no part. Absent beyond the calendar's range.
[[nodiscard]] constexpr std::optional<std::chrono::local_seconds> localTimeFromComponents(
    const DateComponents& fields) {
  const std::optional<DayNumber> day = dayNumberRollingOver(fields.year, fields.month, fields.day);
  const std::optional<std::int64_t> time = secondsOfTime(fields.hour, fields.minute, fields.second);
  if (!day || !time) return std::nullopt;
  const std::int64_t seconds = *day * secondsPerDay + *time;
  if (seconds < earliestSecond || seconds >= latestSecond) return std::nullopt;
  return std::chrono::local_seconds(
      std::chrono::seconds(seconds + chrono_detail::unixSecondOfReference));
}

/// The Gregorian name of the day that the fields show; absent as above and after the year 32767.
[[nodiscard]] constexpr std::optional<std::chrono::year_month_day> yearMonthDayFromComponents(
    const DateComponents& fields) {
  const std::optional<std::chrono::local_seconds> time = localTimeFromComponents(fields);
  if (!time) return std::nullopt;
  return yearMonthDayFromDate(
      timestampFromSysTime(std::chrono::sys_seconds(time->time_since_epoch())));
}

}  // namespace ztp
