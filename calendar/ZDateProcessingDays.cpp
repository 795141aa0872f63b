// ZDateUtilities: weekdays by name, weekends, processing days, and stepping over them.
#include "calendar/ZDateUtilities.h"

#include <array>
#include <vector>

#include "calendar/EnglishNames.h"
#include "calendar/HolidayRules.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

constexpr int sunday = 1;
constexpr int saturday = 7;

// The weekdays [1:7] of a list that is separated by commas, in its order; unknown names left out.
std::vector<int> weekdaysOfNames(std::string_view names) {
  std::vector<int> weekdays;
  weekdays.reserve(2);
  while (true) {
    const std::size_t comma = names.find(',');
    const int weekday = ZDateUtilities::dayOfWeekForName(names.substr(0, comma));
    if (weekday != 0) weekdays.push_back(weekday);
    if (comma == std::string_view::npos) return weekdays;
    names.remove_prefix(comma + 1);
  }
}

// A walk over the days that are processed: neither off nor a United States bank holiday.
class ProcessingDays {
 public:
  ProcessingDays(std::span<const int> daysOff, std::int64_t step) : step_(step) {
    for (const int weekday : daysOff) off_.at(static_cast<std::size_t>(weekday)) = true;
  }

  [[nodiscard]] bool contains(DayNumber day) const {
    if (isOff(day)) return false;
    return !holidayAnswer(QueriedDay::ofNumber(day), ZHolidayType::ZHolidayTypeUSBank).isHoliday;
  }

  // The day at which `count` processing days have been passed, the first day included, and another
  // is met; absent when the walk never gets there.
  [[nodiscard]] std::optional<DayNumber> after(std::int64_t count, DayNumber first) const {
    if (step_ == 0) return contains(first) ? std::optional(first) : std::nullopt;
    if (!canReachProcessingDay(first) || count > longestWalk) return std::nullopt;
    std::int64_t day = first;
    while (isCalendarDay(day)) {
      const auto here = static_cast<DayNumber>(day);
      if (contains(here) && count-- < 1) return here;
      if (__builtin_add_overflow(day, step_, &day)) break;
    }
    return std::nullopt;
  }

 private:
  static constexpr std::int64_t longestWalk = std::int64_t{lastCalendarDay} - firstCalendarDay;

  [[nodiscard]] bool isOff(std::int64_t day) const {
    return off_[static_cast<std::size_t>(weekdayFromDayNumber(static_cast<DayNumber>(day)))];
  }

  // Steps of whole weeks stay on one weekday, all others come to every weekday.
  [[nodiscard]] bool canReachProcessingDay(DayNumber first) const {
    if (step_ % 7 == 0) return !isOff(first);
    for (std::size_t weekday = sunday; weekday <= saturday; ++weekday) {
      if (!off_[weekday]) return true;
    }
    return false;
  }

  std::array<bool, 8> off_{};
  std::int64_t step_;
};

}  // namespace

int ZDateUtilities::dayOfWeekForName(std::string_view name) {
  std::string letters;
  for (const char character : name) {
    if (character != ' ') letters += character;
  }
  int weekday = 0;
  for (const std::string_view known : weekdayNames) {
    ++weekday;
    if (equalIgnoringCase(letters, known)) return weekday;
  }
  return 0;
}

bool ZDateUtilities::isWeekend(std::optional<Date> date) {
  const std::optional<DayNumber> day = date ? dayOfTimestamp(*date) : std::nullopt;
  if (!day) return false;
  const int weekday = weekdayFromDayNumber(*day);
  return weekday == sunday || weekday == saturday;
}

bool ZDateUtilities::isProcessingDay(std::optional<Date> date, std::span<const int> daysOff) {
  const std::optional<DayNumber> day = date ? dayOfTimestamp(*date) : std::nullopt;
  if (!day) return false;
  const int weekday = weekdayFromDayNumber(*day);
  for (const int dayOff : daysOff) {
    if (dayOff == weekday) return false;
  }
  return true;
}

std::optional<Date> ZDateUtilities::dateFromDate(std::optional<Date> date,
                                                 std::int64_t processingDays,
                                                 std::string_view processingDaysOff,
                                                 std::int64_t adjustingBy) {
  if (!date || processingDays < 0) return date;
  const std::vector<int> daysOff = weekdaysOfNames(processingDaysOff);
  if (!isObjectValidDate(date)) {
    // The first day is judged as the instant that it is; the first step makes a date of it.
    if (isProcessingDay(date, daysOff) && !isUSBankHoliday(date) && processingDays-- < 1) {
      return date;
    }
    date = dateByAddingDays(adjustingBy, date);
    if (!date) return std::nullopt;
  }
  const std::optional<DayNumber> first = dayOfTimestamp(*date);
  if (!first) return std::nullopt;
  const std::optional<DayNumber> found =
      ProcessingDays(daysOff, adjustingBy).after(processingDays, *first);
  if (!found) return std::nullopt;
  return dateOfDay(*found);
}

}  // namespace ztp
