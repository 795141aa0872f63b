// BusinessCalendar: the tables of markets, of rules of a program's own, of several calendars
// together, and of one with days changed.
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "calendar/BusinessCalendar.h"
#include "calendar/BusinessDayBuilder.h"
#include "calendar/HolidayRules.h"
#include "calendar/NameRegistry.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

constexpr BusinessDayBuilder::Weekend saturdayAndSunday = {false, true,  false, false,
                                                           false, false, false, true};
constexpr int sunday = 1;

using Table = std::shared_ptr<const BusinessDayTable>;

Table tableOfMarket(ZHolidayType type, SpecialClosings specialClosings) {
  BusinessDayBuilder builder(saturdayAndSunday);
  for (DayNumber day = BusinessDayTable::firstDay; day <= BusinessDayTable::lastDay; ++day) {
    const HolidayAnswer answer = holidayAnswer(QueriedDay::ofNumber(day), type);
    if (answer.isHoliday) builder.addHoliday({day, answer.inLieuOfOfficial, answer.name});
  }
  if (specialClosings == SpecialClosings::included) {
    for (const SpecialDay& special : specialDays(type)) {
      const DayNumber day = dayNumberFromCivilDate(special.day);
      if (special.isClosed) {
        builder.addHoliday({day, false, special.name});
      } else {
        builder.open(day);
      }
    }
  }
  return builder.table();
}

// Each made once, by the thread that comes first, and never taken apart: objects that are
// destroyed when the process ends may still ask for it.
template <ZHolidayType type, SpecialClosings specialClosings>
const Table& madeTable() {
  static const Table& table =
      *std::make_unique<const Table>(tableOfMarket(type, specialClosings)).release();
  return table;
}

template <ZHolidayType type>
const Table& knownTable(SpecialClosings specialClosings) {
  return specialClosings == SpecialClosings::included
             ? madeTable<type, SpecialClosings::included>()
             : madeTable<type, SpecialClosings::excluded>();
}

// Where a holiday of the weekend is observed; absent when nowhere.
std::optional<DayNumber> observedOn(const BusinessDayBuilder& builder,
                                    const BusinessDayBuilder::Weekend& weekend, DayNumber day,
                                    Observance observance) {
  const auto isWeekend = [&weekend](DayNumber each) {
    return weekend[static_cast<std::size_t>(weekdayFromDayNumber(each))];
  };
  constexpr DayNumber farthest = 366;
  switch (observance) {
    case Observance::never:
      return std::nullopt;
    case Observance::following:
      for (DayNumber found = day + 1; found <= day + farthest; ++found) {
        if (!isWeekend(found) && !builder.isHoliday(found)) return found;
      }
      return std::nullopt;
    case Observance::nearest:
      for (DayNumber away = 1; away < 7; ++away) {
        if (!isWeekend(day + away)) return day + away;
        if (!isWeekend(day - away)) return day - away;
      }
      return std::nullopt;
    case Observance::sundayToMonday:
      if (weekdayFromDayNumber(day) != sunday || isWeekend(day + 1)) return std::nullopt;
      return day + 1;
  }
  return std::nullopt;
}

// A holiday that falls on a weekend and is to be observed on another day.
struct Displaced {
  DayNumber day;
  const RecurringHoliday* holiday;
};

// The holidays on their own days; returns those on weekends in the order of their days. The years
// next to the table's are looked at, too: what is observed may come over the border.
std::vector<Displaced> addOwnDays(const std::vector<RecurringHoliday>& holidays,
                                  const BusinessDayBuilder::Weekend& weekend,
                                  BusinessDayBuilder& builder) {
  std::vector<Displaced> displaced;
  for (const RecurringHoliday& holiday : holidays) {
    for (std::int32_t year = BusinessCalendar::firstYear - 1;
         year <= BusinessCalendar::lastYear + 1; ++year) {
      const std::optional<CivilDate> date = holiday.dayInYear(year);
      if (!date) continue;
      const DayNumber day = dayNumberFromCivilDate(*date);
      builder.addHoliday({day, false, holiday.name()});
      if (weekend[static_cast<std::size_t>(weekdayFromDayNumber(day))]) {
        displaced.push_back({day, &holiday});
      }
    }
  }
  // Those of one day stay in the order in which they were named: they lie in one array.
  std::sort(displaced.begin(), displaced.end(), [](const Displaced& a, const Displaced& b) {
    return a.day != b.day ? a.day < b.day : a.holiday < b.holiday;
  });
  return displaced;
}

BusinessDayBuilder::Weekend weekendOf(const std::vector<int>& weekdays) {
  BusinessDayBuilder::Weekend weekend{};
  for (const int weekday : weekdays) {
    if (weekday < 1 || weekday > 7) throw std::invalid_argument("BusinessCalendar: weekday");
    weekend[static_cast<std::size_t>(weekday)] = true;
  }
  return weekend;
}

void closeDays(const std::vector<NamedDate>& days, BusinessDayBuilder& builder) {
  for (const NamedDate& each : days) {
    const std::optional<DayNumber> day = dayOfTimestamp(each.date);
    if (day) builder.addHoliday({*day, false, keptName(each.name)});
  }
}

void openDays(const std::vector<Date>& days, BusinessDayBuilder& builder) {
  for (const Date date : days) {
    const std::optional<DayNumber> day = dayOfTimestamp(date);
    if (day) builder.open(*day);
  }
}

}  // namespace

BusinessCalendar::BusinessCalendar(std::shared_ptr<const BusinessDayTable> table)
    : table_(std::move(table)) {}

BusinessCalendar BusinessCalendar::market(ZHolidayType type, SpecialClosings specialClosings) {
  switch (type) {
    case ZHolidayType::ZHolidayTypeUSBank:
      return BusinessCalendar(knownTable<ZHolidayType::ZHolidayTypeUSBank>(specialClosings));
    case ZHolidayType::ZHolidayTypeNYSE:
      return BusinessCalendar(knownTable<ZHolidayType::ZHolidayTypeNYSE>(specialClosings));
    case ZHolidayType::ZHolidayTypeTSE:
      return BusinessCalendar(knownTable<ZHolidayType::ZHolidayTypeTSE>(specialClosings));
  }
  return custom({});
}

BusinessCalendar BusinessCalendar::custom(const BusinessCalendarRules& rules) {
  const BusinessDayBuilder::Weekend weekend = weekendOf(rules.weekend);
  BusinessDayBuilder builder(weekend);
  for (const Displaced& each : addOwnDays(rules.holidays, weekend, builder)) {
    const std::optional<DayNumber> day =
        observedOn(builder, weekend, each.day, each.holiday->observance());
    if (day) builder.addHoliday({*day, true, each.holiday->name()});
  }
  closeDays(rules.closedDays, builder);
  openDays(rules.openDays, builder);
  return BusinessCalendar(builder.table());
}

BusinessCalendar BusinessCalendar::joined(const std::vector<BusinessCalendar>& calendars,
                                          bool whenAny) {
  BusinessDayBuilder builder(BusinessDayBuilder::Weekend{});
  for (DayNumber day = BusinessDayTable::firstDay;
       !calendars.empty() && day <= BusinessDayTable::lastDay; ++day) {
    const auto closed = std::count_if(
        calendars.begin(), calendars.end(),
        [day](const BusinessCalendar& each) { return !each.table_->isBusinessDay(day); });
    if (whenAny ? closed > 0 : closed == std::ssize(calendars)) builder.close(day);
  }
  for (const BusinessCalendar& each : calendars) {
    for (const NamedHoliday& holiday :
         each.table_->holidays(BusinessDayTable::firstDay, BusinessDayTable::lastDay + 1)) {
      if (!builder.isOpen(holiday.day)) builder.addHoliday(holiday);
    }
  }
  return BusinessCalendar(builder.table());
}

BusinessCalendar BusinessCalendar::closedWhenAny(const std::vector<BusinessCalendar>& calendars) {
  return joined(calendars, true);
}

BusinessCalendar BusinessCalendar::closedWhenAll(const std::vector<BusinessCalendar>& calendars) {
  return joined(calendars, false);
}

BusinessCalendar BusinessCalendar::withClosedDays(const std::vector<NamedDate>& days) const {
  BusinessDayBuilder builder(*table_);
  closeDays(days, builder);
  return BusinessCalendar(builder.table());
}

BusinessCalendar BusinessCalendar::withOpenDays(const std::vector<Date>& days) const {
  BusinessDayBuilder builder(*table_);
  openDays(days, builder);
  return BusinessCalendar(builder.table());
}

}  // namespace ztp
