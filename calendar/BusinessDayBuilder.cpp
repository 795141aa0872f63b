// BusinessDayBuilder: one flag a day, and the holidays by day.
#include "calendar/BusinessDayBuilder.h"

namespace ztp {

namespace {

constexpr DayNumber firstDay = BusinessDayTable::firstDay;
constexpr DayNumber lastDay = BusinessDayTable::lastDay;
constexpr auto dayCount = static_cast<std::size_t>(lastDay - firstDay) + 1;

std::size_t indexOf(DayNumber day) {
  return static_cast<std::size_t>(day - firstDay);
}

}  // namespace

BusinessDayBuilder::BusinessDayBuilder(const Weekend& weekend) : isOpen_(dayCount) {
  for (DayNumber day = firstDay; day <= lastDay; ++day) {
    isOpen_[indexOf(day)] = !weekend[static_cast<std::size_t>(weekdayFromDayNumber(day))];
  }
}

BusinessDayBuilder::BusinessDayBuilder(const BusinessDayTable& table) : isOpen_(dayCount) {
  for (DayNumber day = firstDay; day <= lastDay; ++day) {
    isOpen_[indexOf(day)] = table.isBusinessDay(day);
  }
  for (const NamedHoliday& holiday : table.holidays(firstDay, lastDay + 1)) {
    holidays_.emplace_hint(holidays_.end(), holiday.day, holiday);
  }
}

bool BusinessDayBuilder::isOpen(DayNumber day) const {
  return BusinessDayTable::covers(day) && isOpen_[indexOf(day)];
}

void BusinessDayBuilder::close(DayNumber day) {
  if (BusinessDayTable::covers(day)) isOpen_[indexOf(day)] = false;
}

void BusinessDayBuilder::addHoliday(const NamedHoliday& holiday) {
  if (!BusinessDayTable::covers(holiday.day)) return;
  isOpen_[indexOf(holiday.day)] = false;
  holidays_.emplace(holiday.day, holiday);
}

void BusinessDayBuilder::open(DayNumber day) {
  if (!BusinessDayTable::covers(day)) return;
  isOpen_[indexOf(day)] = true;
  holidays_.erase(day);
}

std::shared_ptr<const BusinessDayTable> BusinessDayBuilder::table() const {
  std::vector<NamedHoliday> holidays;
  holidays.reserve(holidays_.size());
  for (const auto& [day, holiday] : holidays_) holidays.push_back(holiday);
  return std::make_shared<const BusinessDayTable>(isOpen_, std::move(holidays));
}

}  // namespace ztp
