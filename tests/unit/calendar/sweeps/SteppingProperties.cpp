// Properties of stepping by processing days, over random dates, counts, steps and days off.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr double secondsOfDay = 86400.0;
constexpr const char* weekdayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                        "Thursday", "Friday", "Saturday"};

// What one call is given besides the date and the count.
struct Stepping {
  std::set<int> daysOff;  // 1 (Sunday) to 7
  std::int64_t step = 1;

  [[nodiscard]] std::string daysOffText() const {
    std::string text;
    for (const int weekday : daysOff) {
      text += (text.empty() ? "" : ", ") + std::string(weekdayNames[weekday - 1]);
    }
    return text;
  }

  [[nodiscard]] std::optional<Date> from(Date date, std::int64_t count) const {
    return ZDateUtilities::dateFromDate(date, count, daysOffText(), step);
  }

  [[nodiscard]] bool isProcessing(Date date) const {
    return !daysOff.contains(ZDateUtilities::dayOfWeekForDate(date)) &&
           !ZDateUtilities::isUSBankHoliday(date);
  }

  [[nodiscard]] Date oneFurther(Date date) const {
    return date + static_cast<double>(step) * secondsOfDay;
  }

  // Whether the second date is the first or lies beyond it, seen in the direction of the step.
  [[nodiscard]] bool isNotBefore(Date later, Date earlier) const {
    return step > 0 ? later >= earlier : later <= earlier;
  }
};

// A day from 1800 to 2399.
Date anyDate() {
  const auto days = *rc::gen::inRange(-73'000, 146'000).as("days since 2001-01-01");
  return Date(days * secondsOfDay + secondsOfDay / 2);
}

std::int64_t anyCount() {
  return *rc::gen::inRange<std::int64_t>(0, 80).as("count");
}

// At least one weekday is left to work on.
std::set<int> anyDaysOff() {
  constexpr int allSeven = 0b111'1111;
  const int off = *rc::gen::inRange(0, allSeven).as("days off, one bit each from Sunday on");
  std::set<int> daysOff;
  for (int weekday = 1; weekday <= 7; ++weekday) {
    if ((off >> (weekday - 1) & 1) != 0) daysOff.insert(weekday);
  }
  return daysOff;
}

Stepping dayByDay() {
  return {anyDaysOff(), *rc::gen::element<std::int64_t>(1, -1).as("step")};
}

// Steps of several days too; not of whole weeks, which may meet nothing but days off.
Stepping anyStepping() {
  const auto step = *rc::gen::suchThat(rc::gen::inRange<std::int64_t>(-20, 21), [](auto days) {
                       return days % 7 != 0;
                     }).as("step");
  return {anyDaysOff(), step};
}

RC_GTEST_PROP(SteppingProperties, landsOnAProcessingDayAfterExactlyTheCountOfOthers, ()) {
  const auto stepping = anyStepping();
  const Date start = anyDate();
  const auto count = anyCount();
  const auto landed = stepping.from(start, count);
  RC_ASSERT(landed.has_value());
  RC_ASSERT(stepping.isProcessing(*landed));
  std::int64_t passed = 0;
  for (Date date = start; date != *landed; date = stepping.oneFurther(date)) {
    RC_ASSERT(stepping.isNotBefore(*landed, date));
    if (stepping.isProcessing(date)) ++passed;
  }
  RC_ASSERT(passed == count);
}

RC_GTEST_PROP(SteppingProperties, aGreaterCountLandsFurther, ()) {
  const auto stepping = anyStepping();
  const Date start = anyDate();
  const auto count = anyCount();
  const auto more = *rc::gen::inRange<std::int64_t>(1, 10).as("more");
  const Date near = stepping.from(start, count).value();
  const Date far = stepping.from(start, count + more).value();
  RC_ASSERT(near != far);
  RC_ASSERT(stepping.isNotBefore(far, near));
}

RC_GTEST_PROP(SteppingProperties, aLaterStartNeverLandsEarlier, ()) {
  const auto stepping = dayByDay();
  const Date start = anyDate();
  const Date later = start + *rc::gen::inRange(1, 40).as("days later") * secondsOfDay;
  const auto count = anyCount();
  RC_ASSERT(stepping.from(later, count).value() >= stepping.from(start, count).value());
}

RC_GTEST_PROP(SteppingProperties, steppingBackComesBack, ()) {
  const auto there = dayByDay();
  const Stepping back{there.daysOff, -there.step};
  const Date start = there.from(anyDate(), 0).value();
  const auto count = anyCount();
  RC_ASSERT(back.from(there.from(start, count).value(), count) == start);
}

RC_GTEST_PROP(SteppingProperties, twoSteppingsAreOneOfTheSum, ()) {
  const auto stepping = anyStepping();
  const Date start = anyDate();
  const auto first = anyCount();
  const auto second = anyCount();
  RC_ASSERT(stepping.from(stepping.from(start, first).value(), second) ==
            stepping.from(start, first + second));
}

RC_GTEST_PROP(SteppingProperties, aCountBelowZeroChangesNothing, ()) {
  const Date start = anyDate();
  const auto count = *rc::gen::inRange<std::int64_t>(-1000, 0).as("count");
  RC_ASSERT(anyStepping().from(start, count) == start);
}

RC_GTEST_PROP(SteppingProperties, sevenDaysOffLeaveNoDate, ()) {
  const Stepping never{{1, 2, 3, 4, 5, 6, 7}, *rc::gen::inRange<std::int64_t>(-20, 21).as("step")};
  RC_ASSERT(!never.from(anyDate(), anyCount()).has_value());
}

RC_GTEST_PROP(SteppingProperties, aStepOfNothingStaysOnAProcessingDayOnly, ()) {
  const Stepping still{anyDaysOff(), 0};
  const Date start = anyDate();
  const auto landed = still.from(start, anyCount());
  RC_ASSERT(landed == (still.isProcessing(start) ? std::optional(start) : std::nullopt));
}

RC_GTEST_PROP(SteppingProperties, wholeWeeksFromADayOffLeaveNoDate, ()) {
  const Date start = anyDate();
  const auto weeks = *rc::gen::nonZero<std::int8_t>().as("weeks");
  Stepping weekly{anyDaysOff(), 7 * std::int64_t{weeks}};
  weekly.daysOff.insert(ZDateUtilities::dayOfWeekForDate(start));
  RC_ASSERT(!weekly.from(start, anyCount()).has_value());
}

RC_GTEST_PROP(SteppingProperties, wholeWeeksFromAWorkingWeekdayPassItsHolidays, ()) {
  const Date start = anyDate();
  const auto weeks = *rc::gen::element<std::int64_t>(-2, -1, 1, 2).as("weeks");
  Stepping weekly{anyDaysOff(), 7 * weeks};
  weekly.daysOff.erase(ZDateUtilities::dayOfWeekForDate(start));
  const auto landed = weekly.from(start, anyCount());
  RC_ASSERT(landed.has_value());
  RC_ASSERT(weekly.isProcessing(*landed));
}

}  // namespace
}  // namespace ztp::test
