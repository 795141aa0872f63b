// CivilDate: year, month and day, and the integer arithmetic between them and day numbers. The
// calendar is Gregorian from 15 October 1582 on and Julian before, whose last day was 4 October
// 1582. All arithmetic here is pure and constexpr; what is outside the stated ranges is the
// caller's to refuse.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "calendar/Export.h"

namespace ztp {

/// A day by its name. year [1:lastCalendarYear], month [1:12], day [1:31]. Earlier is less.
struct CivilDate {
  std::int32_t year = 1;
  std::int32_t month = 1;
  std::int32_t day = 1;
  [[nodiscard]] friend constexpr auto operator<=>(const CivilDate&, const CivilDate&) = default;
};

/// "2019-03-15" (ISO 8601); years above 9999 have five digits and more.
[[nodiscard]] ZANBURY_CALENDAR_API std::string toString(const CivilDate& date);
/// Writes the same.
ZANBURY_CALENDAR_API std::ostream& operator<<(std::ostream& out, const CivilDate& date);

/// Days since 2001-01-01, which is day 0.
using DayNumber = std::int32_t;

/// The calendar runs from 1 January of the year 1 to 31 December of this year.
inline constexpr std::int32_t lastCalendarYear = 5'000'000;
/// 1 January of the year 1 (Julian).
inline constexpr DayNumber firstCalendarDay = -730'487;
/// 15 October 1582, the first Gregorian day.
inline constexpr DayNumber firstGregorianDay = -152'750;
/// 31 December of lastCalendarYear.
inline constexpr DayNumber lastCalendarDay = 1'825'482'014;

/// Whether the calendar has the day of this number.
[[nodiscard]] constexpr bool isCalendarDay(std::int64_t number) {
  return number >= firstCalendarDay && number <= lastCalendarDay;
}

// How it is done: the parts of one calendar each, for the functions below.
//
// Years are counted from 1 March, so that the leap day is the last of a year; days from 1 March of
// the year 0. Within such a year 153 days make five months, which the integer lines
// (979 m - 2919) / 32 and 2141 d + 197913 follow exactly for March = 3 to February = 14
// (C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar
// algorithms", 2022).

namespace civil_detail {

inline constexpr std::int32_t daysFromGregorianMarchZero = 730'791;
inline constexpr std::int32_t daysFromJulianMarchZero = 730'793;

/// A month of a year that begins in March.
struct MarchYear {
  std::uint32_t year;
  std::uint32_t month;  // [3:14]
};

/// January and February count as the months 13 and 14 of the year before.
[[nodiscard]] constexpr MarchYear marchYear(std::int32_t year, std::int32_t month) {
  const bool early = month <= 2;
  return {static_cast<std::uint32_t>(year) - (early ? 1U : 0U),
          static_cast<std::uint32_t>(month) + (early ? 12U : 0U)};
}

/// Days from 1 March to the first of a month [3:14].
[[nodiscard]] constexpr std::int32_t daysBeforeMonth(std::uint32_t month) {
  return static_cast<std::int32_t>((979U * month - 2919U) / 32U);
}

/// The number of a day that is named by the Gregorian calendar.
[[nodiscard]] constexpr DayNumber gregorianDayNumber(const CivilDate& date) {
  const MarchYear from = marchYear(date.year, date.month);
  const std::uint32_t century = from.year / 100U;
  const std::uint32_t beforeYear = 365U * from.year + from.year / 4U - century + century / 4U;
  return static_cast<std::int32_t>(beforeYear) + daysBeforeMonth(from.month) + date.day - 1 -
         daysFromGregorianMarchZero;
}

/// The number of a day that is named by the Julian calendar.
[[nodiscard]] constexpr DayNumber julianDayNumber(const CivilDate& date) {
  const MarchYear from = marchYear(date.year, date.month);
  return static_cast<std::int32_t>(365U * from.year + from.year / 4U) +
         daysBeforeMonth(from.month) + date.day - 1 - daysFromJulianMarchZero;
}

/// The name of the day [0:365] after 1 March of a year.
[[nodiscard]] constexpr CivilDate fromMarchYear(std::uint32_t year, std::uint32_t dayOfYear) {
  const std::uint32_t line = 2141U * dayOfYear + 197913U;
  const bool early = dayOfYear >= 306U;
  return {static_cast<std::int32_t>(year + (early ? 1U : 0U)),
          static_cast<std::int32_t>((line >> 16U) - (early ? 12U : 0U)),
          static_cast<std::int32_t>((line & 0xFFFFU) / 2141U) + 1};
}

/// What the Gregorian calendar calls a day.
[[nodiscard]] constexpr CivilDate gregorianDate(DayNumber number) {
  const auto days = static_cast<std::uint64_t>(std::int64_t{number} + daysFromGregorianMarchZero);
  const std::uint64_t quarters = 4U * days + 3U;
  const auto century = static_cast<std::uint32_t>(quarters / 146'097U);
  // 2939745 / 2^32 stands in for 1 / 1461: exact for the quarter days of one century.
  const std::uint64_t line = 2'939'745ULL * (static_cast<std::uint32_t>(quarters % 146'097U) | 3U);
  const auto yearOfCentury = static_cast<std::uint32_t>(line >> 32U);
  const std::uint32_t dayOfYear = static_cast<std::uint32_t>(line) / 2'939'745U / 4U;
  return fromMarchYear(100U * century + yearOfCentury, dayOfYear);
}

/// What the Julian calendar calls a day.
[[nodiscard]] constexpr CivilDate julianDate(DayNumber number) {
  const auto quarters = 4U * static_cast<std::uint32_t>(number + daysFromJulianMarchZero) + 3U;
  return fromMarchYear(quarters / 1461U, quarters % 1461U / 4U);
}

/// The common case: a year that is Gregorian throughout, a month, and a day of any month, which
/// just counts on beyond the end of its own. One test, so that nothing is guessed.
[[nodiscard]] constexpr bool isPlainGregorian(std::int64_t year, std::int64_t month,
                                              std::int64_t day) {
  constexpr std::uint64_t first = 1583;
  const auto isBelow = [](std::int64_t number, std::uint64_t start, std::uint64_t count) {
    return static_cast<unsigned>(static_cast<std::uint64_t>(number) - start < count);
  };
  return (isBelow(year, first, lastCalendarYear - first + 1) & isBelow(month, 1, 12) &
          isBelow(day, 1, 31)) != 0;
}

}  // namespace civil_detail

/// The name of a day of the calendar.
///   civilDateFromDayNumber(0)         // 2001-01-01
///   civilDateFromDayNumber(-152751)   // 1582-10-04, the day before 1582-10-15
[[nodiscard]] constexpr CivilDate civilDateFromDayNumber(DayNumber number) {
  return number >= firstGregorianDay ? civil_detail::gregorianDate(number)
                                     : civil_detail::julianDate(number);
}

/// The number of a day of the calendar; the reverse of civilDateFromDayNumber. The ten days that
/// October 1582 does not have are read as Julian days, ten days later.
///   dayNumberFromCivilDate({2001, 1, 1})     // 0
///   dayNumberFromCivilDate({1582, 10, 10})   // that of 1582-10-20
[[nodiscard]] constexpr DayNumber dayNumberFromCivilDate(const CivilDate& date) {
  const DayNumber gregorian = civil_detail::gregorianDayNumber(date);
  return gregorian >= firstGregorianDay ? gregorian : civil_detail::julianDayNumber(date);
}

/// The number of a day given by numbers of any size: months and days beyond their month or year
/// roll over, as do those at or below 0. Absent beyond the calendar's range; nothing overflows.
///   dayNumberRollingOver(2020, 13, 1)   // that of 2021-01-01
///   dayNumberRollingOver(2020, 2, 30)   // that of 2020-03-01
[[nodiscard]] constexpr std::optional<DayNumber> dayNumberRollingOver(std::int64_t year,
                                                                      std::int64_t month,
                                                                      std::int64_t day) {
  if (civil_detail::isPlainGregorian(year, month, day)) {
    return civil_detail::gregorianDayNumber({static_cast<std::int32_t>(year),
                                             static_cast<std::int32_t>(month),
                                             static_cast<std::int32_t>(day)});
  }
  if (year < 1 || year > lastCalendarYear) return std::nullopt;
  // Beyond these a day of the calendar could only come of a year further out than it has.
  constexpr std::int64_t monthLimit = 12LL * lastCalendarYear;
  constexpr std::int64_t dayLimit = std::int64_t{lastCalendarDay} - firstCalendarDay;
  if (month < -monthLimit || month > monthLimit) return std::nullopt;
  if (day < -dayLimit || day > dayLimit) return std::nullopt;
  const std::int64_t months = 12 * year + month - 1;
  if (months < 12 || months >= 12 * (std::int64_t{lastCalendarYear} + 1)) return std::nullopt;
  const CivilDate first{static_cast<std::int32_t>(months / 12),
                        static_cast<std::int32_t>(months % 12) + 1, 1};
  // The calendar of the year named is tried first, the other when the day lies across the change.
  const std::int64_t gregorian = civil_detail::gregorianDayNumber(first) + day - 1;
  const std::int64_t julian = civil_detail::julianDayNumber(first) + day - 1;
  const std::int64_t tried = first.year >= 1582 ? gregorian : julian;
  const std::int64_t number = tried >= firstGregorianDay ? gregorian : julian;
  if (!isCalendarDay(number)) return std::nullopt;
  return static_cast<DayNumber>(number);
}

/// 1 (Sunday) to 7 (Saturday) for any day of the calendar.
///   weekdayFromDayNumber(0)   // 2: 2001-01-01 was a Monday
[[nodiscard]] constexpr int weekdayFromDayNumber(DayNumber number) {
  constexpr std::uint32_t daysFromEarlierSunday = 730'493;
  return static_cast<int>((static_cast<std::uint32_t>(number) + daysFromEarlierSunday) % 7U) + 1;
}

/// Whether the year has a 29 February: by Julian count before 1582, by Gregorian count after.
[[nodiscard]] constexpr bool isLeapYear(std::int32_t year) {
  if (year % 4 != 0) return false;
  return year < 1582 || year % 100 != 0 || year % 400 == 0;
}

/// The last day of a month [1:12], 28 to 31. October 1582 ends with the 31st like every October.
[[nodiscard]] constexpr int lastDayOfMonth(std::int32_t year, std::int32_t month) {
  if (month == 2) return isLeapYear(year) ? 29 : 28;
  return 30 + ((month + month / 8) & 1);
}

/// Whether the calendar has the day: all numbers in range, and not one of the ten days that
/// October 1582 lacks.
///   isExistingDay({2019, 2, 29})   // false
[[nodiscard]] constexpr bool isExistingDay(const CivilDate& date) {
  if (date.year < 1 || date.year > lastCalendarYear) return false;
  if (date.month < 1 || date.month > 12 || date.day < 1) return false;
  if (date.day > 28 && date.day > lastDayOfMonth(date.year, date.month)) return false;
  return date.year != 1582 || date.month != 10 || date.day < 5 || date.day > 14;
}

}  // namespace ztp

/// Days as keys.
template <>
struct std::hash<ztp::CivilDate> {
  [[nodiscard]] std::size_t operator()(const ztp::CivilDate& date) const noexcept {
    // Every day of the calendar has a number of its own here: 16 * 32 days a year.
    const std::int64_t number = (std::int64_t{date.year} * 16 + date.month) * 32 + date.day;
    return std::hash<std::int64_t>{}(number);
  }
};
