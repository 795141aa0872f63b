// BusinessDayBuilder: gathers the days off and the holidays of a business calendar, day by day,
// until the table is made of them. Not installed.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "calendar/BusinessDayTable.h"
#include "calendar/CivilDate.h"

namespace ztp {

/// A calendar in the making. Days outside the table are ignored, and are neither open nor holidays.
class BusinessDayBuilder {
 public:
  /// By weekday [1:7]; true is a day off.
  using Weekend = std::array<bool, 8>;

  /// Every day is open but those of the weekend.
  explicit BusinessDayBuilder(const Weekend& weekend);
  /// All as in the table.
  explicit BusinessDayBuilder(const BusinessDayTable& table);

  [[nodiscard]] bool isOpen(DayNumber day) const;
  [[nodiscard]] bool isHoliday(DayNumber day) const { return holidays_.contains(day); }

  /// Closes the day without a holiday.
  void close(DayNumber day);
  /// Closes the day for a holiday; one that is there already stays. The name is kept by the caller.
  void addHoliday(const NamedHoliday& holiday);
  /// Opens the day; it is not a holiday then.
  void open(DayNumber day);

  [[nodiscard]] std::shared_ptr<const BusinessDayTable> table() const;

 private:
  std::vector<bool> isOpen_;
  std::map<DayNumber, NamedHoliday> holidays_;
};

}  // namespace ztp
