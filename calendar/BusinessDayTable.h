// BusinessDayTable: the business days of some centuries as bits, with sums on the way, so that a
// query, a count and a step of any length each take a few nanoseconds. Made once, never changed,
// shared by all copies of a calendar. Not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "calendar/CivilDate.h"

namespace ztp {

/// A holiday on its day.
struct NamedHoliday {
  DayNumber day = 0;
  /// The day is observed for a holiday on another one.
  bool inLieu = false;
  /// Lives as long as the process.
  std::string_view name;
};

/// Business days and holidays from firstDay to lastDay; outside there are none.
class BusinessDayTable {
 public:
  static constexpr std::int32_t firstYear = 1900;
  static constexpr std::int32_t lastYear = 2299;
  static constexpr DayNumber firstDay = dayNumberFromCivilDate({firstYear, 1, 1});
  static constexpr DayNumber lastDay = dayNumberFromCivilDate({lastYear, 12, 31});

  [[nodiscard]] static constexpr bool covers(std::int64_t day) {
    return day >= firstDay && day <= lastDay;
  }

  /// `isOpen` has an entry for every day from firstDay on; the holidays are in the order of their
  /// days, each day at most once.
  BusinessDayTable(const std::vector<bool>& isOpen, std::vector<NamedHoliday> holidays);

  [[nodiscard]] bool isBusinessDay(DayNumber day) const;
  /// Null when the day is not a holiday.
  [[nodiscard]] const NamedHoliday* holidayOn(DayNumber day) const;
  /// The holidays from the first day on and before the second.
  [[nodiscard]] std::span<const NamedHoliday> holidays(DayNumber from, DayNumber before) const;

  /// How many business days there are before a day of the table, or before the day after its last.
  [[nodiscard]] std::int64_t businessDaysBefore(DayNumber day) const;
  /// The business day that has so many before it; absent beyond the table. `near` is a day of the
  /// table at which the search begins: any will do, one close by saves time.
  [[nodiscard]] std::optional<DayNumber> businessDayAfter(std::int64_t count, DayNumber near) const;

 private:
  /// 64 days, and what came before them.
  struct Block {
    std::uint64_t open = 0;
    std::uint64_t holidays = 0;
    std::uint32_t openBefore = 0;
    std::uint32_t holidaysBefore = 0;
  };

  [[nodiscard]] std::size_t holidaysBefore(DayNumber day) const;

  std::vector<Block> blocks_;  // one more than there are days for, with the totals
  std::vector<NamedHoliday> holidays_;
  double blocksPerBusinessDay_ = 0.0;
};

}  // namespace ztp
