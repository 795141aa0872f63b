// BusinessCalendar: calendars of a program's own, joint ones, and special closings of the markets.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "BusinessCalendarTesting.h"
#include "CalendarTesting.h"
#include "calendar/BusinessCalendar.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr int monday = 2;
constexpr int thursday = 5;
constexpr int friday = 6;
constexpr int saturday = 7;

// A calendar of a program's own -------------------------------------------------------------------

struct RuleDay {
  RecurringHoliday rule;
  std::int32_t year;
  const char* day;
};

TEST(RecurringHoliday, FindsItsDay) {
  const RuleDay rules[] = {
      {RecurringHoliday::onDay("a", 8, 15), 2021, "2021-08-15"},
      {RecurringHoliday::onDay("a", 2, 29), 2020, "2020-02-29"},
      {RecurringHoliday::onNthWeekday("a", 5, 1, monday), 2021, "2021-05-03"},
      {RecurringHoliday::onNthWeekday("a", 5, -1, monday), 2021, "2021-05-31"},
      {RecurringHoliday::onNthWeekday("a", 2, -1, thursday), 2024, "2024-02-29"},
      {RecurringHoliday::onNthWeekday("a", 5, 5, monday), 2021, "2021-05-31"},
      {RecurringHoliday::onWeekdayFrom("a", 6, 20, saturday), 2021, "2021-06-26"},
      {RecurringHoliday::onWeekdayFrom("a", 6, 20, saturday), 2020, "2020-06-20"},
      {RecurringHoliday::onWeekdayFrom("a", 12, 30, monday), 2021, "2022-01-03"},
      {RecurringHoliday::fromEaster("a", 50), 2021, "2021-05-24"},
      {RecurringHoliday::fromEaster("a", -2), 2021, "2021-04-02"},
  };
  for (const RuleDay& each : rules) {
    const std::optional<CivilDate> found = each.rule.dayInYear(each.year);
    ASSERT_TRUE(found.has_value()) << each.day;
    EXPECT_EQ(toString(*found), each.day);
  }
}

TEST(RecurringHoliday, HasYearsWithoutItsDay) {
  EXPECT_EQ(RecurringHoliday::onDay("a", 2, 29).dayInYear(2021), std::nullopt);
  EXPECT_EQ(RecurringHoliday::onNthWeekday("a", 5, 5, thursday).dayInYear(2021), std::nullopt);
  const auto bounded = RecurringHoliday::onDay("a", 8, 15).withYears(2000, 2010);
  EXPECT_EQ(bounded.dayInYear(1999), std::nullopt);
  EXPECT_NE(bounded.dayInYear(2000), std::nullopt);
  EXPECT_NE(bounded.dayInYear(2010), std::nullopt);
  EXPECT_EQ(bounded.dayInYear(2011), std::nullopt);
  EXPECT_EQ(RecurringHoliday::onDay("a", 8, 15).dayInYear(1582), std::nullopt);
}

TEST(RecurringHoliday, RefusesDaysThatDoNotExist) {
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onDay("a", 2, 30)), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onDay("a", 13, 1)), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onNthWeekday("a", 5, 0, 2)),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onNthWeekday("a", 5, 6, 2)),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onNthWeekday("a", 0, 1, 2)),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::onWeekdayFrom("a", 6, 20, 8)),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(RecurringHoliday::fromEaster("a", 101)), std::invalid_argument);
}

BusinessCalendar custom(BusinessCalendarRules rules) {
  return BusinessCalendar::custom(rules);
}

RecurringHoliday christmas(Observance observance) {
  return RecurringHoliday::onDay("Christmas", 12, 25).withObservance(observance);
}

RecurringHoliday boxing(Observance observance) {
  return RecurringHoliday::onDay("Boxing", 12, 26).withObservance(observance);
}

TEST(CustomCalendar, WithoutRulesHasSaturdaysAndSundaysOff) {
  const BusinessCalendar plain = custom({});
  EXPECT_TRUE(plain.isBusinessDay(date("2021-12-24")));
  EXPECT_FALSE(plain.isBusinessDay(date("2021-12-25")));
  EXPECT_TRUE(plain.holidays(date("1900-01-01"), date("2299-12-31")).empty());
}

TEST(CustomCalendar, HasAnyWeekend) {
  const BusinessCalendar gulf = custom({{friday, saturday}, {}, {}, {}});
  EXPECT_FALSE(gulf.isBusinessDay(date("2021-12-24")));
  EXPECT_FALSE(gulf.isBusinessDay(date("2021-12-25")));
  EXPECT_TRUE(gulf.isBusinessDay(date("2021-12-26")));
  EXPECT_TRUE(custom({{}, {}, {}, {}}).isBusinessDay(date("2021-12-25")));
  EXPECT_THROW(static_cast<void>(custom({{8}, {}, {}, {}})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(custom({{0}, {}, {}, {}})), std::invalid_argument);
}

// In 2021 Christmas was a Saturday and Boxing Day a Sunday; in 2022 a Sunday and a Monday.
TEST(CustomCalendar, ObservesFollowingHolidaysOneAfterTheOther) {
  const BusinessCalendar calendar =
      custom({{1, 7}, {christmas(Observance::following), boxing(Observance::following)}, {}, {}});
  EXPECT_EQ(nameOn(calendar, "2021-12-24"), "");
  EXPECT_EQ(nameOn(calendar, "2021-12-25"), "Christmas");
  EXPECT_EQ(nameOn(calendar, "2021-12-27"), "Christmas (in lieu)");
  EXPECT_EQ(nameOn(calendar, "2021-12-28"), "Boxing (in lieu)");
  EXPECT_EQ(nameOn(calendar, "2022-12-26"), "Boxing");
  EXPECT_EQ(nameOn(calendar, "2022-12-27"), "Christmas (in lieu)");
  EXPECT_EQ(nameOn(calendar, "2022-12-28"), "");
}

TEST(CustomCalendar, ObservesTheNearestDay) {
  const BusinessCalendar calendar = custom({{1, 7}, {christmas(Observance::nearest)}, {}, {}});
  EXPECT_EQ(nameOn(calendar, "2021-12-24"), "Christmas (in lieu)");
  EXPECT_EQ(nameOn(calendar, "2022-12-26"), "Christmas (in lieu)");
  EXPECT_EQ(nameOn(calendar, "2022-12-23"), "");
}

TEST(CustomCalendar, ObservesSundaysOnly) {
  const BusinessCalendar calendar =
      custom({{1, 7}, {christmas(Observance::sundayToMonday)}, {}, {}});
  EXPECT_EQ(nameOn(calendar, "2021-12-24"), "");
  EXPECT_EQ(nameOn(calendar, "2021-12-27"), "");
  EXPECT_EQ(nameOn(calendar, "2022-12-26"), "Christmas (in lieu)");
}

TEST(CustomCalendar, LosesWhatIsNotObserved) {
  const BusinessCalendar calendar = custom({{1, 7}, {christmas(Observance::never)}, {}, {}});
  EXPECT_EQ(nameOn(calendar, "2021-12-25"), "Christmas");
  EXPECT_EQ(nameOn(calendar, "2021-12-27"), "");
}

TEST(CustomCalendar, ObservesAcrossTheYear) {
  const auto newYear =
      RecurringHoliday::onDay("New Year", 1, 1).withObservance(Observance::nearest);
  EXPECT_EQ(nameOn(custom({{1, 7}, {newYear}, {}, {}}), "2021-12-31"), "New Year (in lieu)");
}

TEST(CustomCalendar, NeverEndsTheSearchForADayThatIsNotThere) {
  const BusinessCalendar closed =
      custom({{1, 2, 3, 4, 5, 6, 7}, {christmas(Observance::following)}, {}, {}});
  EXPECT_EQ(closed.adjust(date("2021-12-25")), std::nullopt);
  EXPECT_EQ(closed.advance(date("2021-12-25"), 1), std::nullopt);
  EXPECT_EQ(closed.businessDays(date("1900-01-01"), date("2299-12-31")), 0);
}

TEST(CustomCalendar, TakesDaysAsTheyCome) {
  const BusinessCalendar calendar = custom({{1, 7},
                                            {christmas(Observance::never)},
                                            {{date("2024-05-03"), "Founder's Day"}},
                                            {date("2024-12-25"), date("2024-12-28")}});
  EXPECT_EQ(nameOn(calendar, "2024-05-03"), "Founder's Day");
  EXPECT_FALSE(calendar.isBusinessDay(date("2024-05-03")));
  EXPECT_TRUE(calendar.isBusinessDay(date("2024-12-25")));
  EXPECT_EQ(nameOn(calendar, "2024-12-25"), "");
  EXPECT_TRUE(calendar.isBusinessDay(date("2024-12-28")));  // a Saturday
}

TEST(CustomCalendar, ChangesLeaveTheOldOneAsItWas) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  const BusinessCalendar ours = bank.withClosedDays({{date("2024-05-03"), "Founder's Day"},
                                                     {date("2024-12-25"), "kept by its own name"},
                                                     {day(2301, 1, 1), "outside"}})
                                    .withOpenDays({date("2024-11-11"), day(2301, 1, 1)});
  EXPECT_FALSE(ours.isBusinessDay(date("2024-05-03")));
  EXPECT_TRUE(bank.isBusinessDay(date("2024-05-03")));
  EXPECT_EQ(nameOn(ours, "2024-12-25"), "Christmas Day");
  EXPECT_TRUE(ours.isBusinessDay(date("2024-11-11")));
  EXPECT_FALSE(bank.isBusinessDay(date("2024-11-11")));
  EXPECT_EQ(ours.businessDays(date("2024-01-01"), date("2025-01-01")),
            bank.businessDays(date("2024-01-01"), date("2025-01-01")));
}

TEST(CustomCalendar, KeepsNamesLongerThanItself) {
  std::string_view name;
  {
    const std::string text = std::string("A name of some length ") + "made at run time";
    name = custom({{1, 7}, {}, {{date("2024-05-03"), text}}, {}})
               .nameOfHoliday(date("2024-05-03"))
               .name;
  }
  EXPECT_EQ(name, "A name of some length made at run time");
}

// Several together --------------------------------------------------------------------------------

TEST(JointCalendar, IsClosedWhenAnyIs) {
  const BusinessCalendar joint = BusinessCalendar::closedWhenAny(
      {BusinessCalendar::market(nyse), BusinessCalendar::market(tse)});
  EXPECT_EQ(nameOn(joint, "2024-07-01"), "Canada Day");
  EXPECT_EQ(nameOn(joint, "2024-07-04"), "Independence Day");
  EXPECT_EQ(nameOn(joint, "2024-02-19"), "Washington's Birthday");  // the first one's
  EXPECT_FALSE(joint.isBusinessDay(date("2024-07-01")));
  EXPECT_FALSE(joint.isBusinessDay(date("2024-07-06")));
  EXPECT_TRUE(joint.isBusinessDay(date("2024-07-05")));
}

TEST(JointCalendar, IsClosedWhenAllAre) {
  const BusinessCalendar joint = BusinessCalendar::closedWhenAll(
      {BusinessCalendar::market(nyse), BusinessCalendar::market(tse)});
  EXPECT_TRUE(joint.isBusinessDay(date("2024-07-01")));
  EXPECT_EQ(nameOn(joint, "2024-07-01"), "");
  EXPECT_FALSE(joint.isBusinessDay(date("2024-02-19")));
  EXPECT_EQ(nameOn(joint, "2024-02-19"), "Washington's Birthday");
  EXPECT_FALSE(joint.isBusinessDay(date("2024-07-06")));
}

TEST(JointCalendar, OfWeekendsThatDoNotMeetIsOpen) {
  const BusinessCalendar west = custom({{1, 7}, {}, {}, {}});
  const BusinessCalendar gulf = custom({{friday, saturday}, {}, {}, {}});
  const BusinessCalendar all = BusinessCalendar::closedWhenAll({west, gulf});
  EXPECT_TRUE(all.isBusinessDay(date("2021-12-24")));
  EXPECT_FALSE(all.isBusinessDay(date("2021-12-25")));
  EXPECT_TRUE(all.isBusinessDay(date("2021-12-26")));
  const BusinessCalendar any = BusinessCalendar::closedWhenAny({west, gulf});
  EXPECT_EQ(text(any.advance(date("2021-12-23"), 1)), "2021-12-27");
}

TEST(JointCalendar, OfNoneIsAlwaysOpen) {
  EXPECT_TRUE(BusinessCalendar::closedWhenAny({}).isBusinessDay(date("2021-12-25")));
  EXPECT_TRUE(BusinessCalendar::closedWhenAll({}).isBusinessDay(date("2021-12-25")));
}

// Special closings --------------------------------------------------------------------------------

constexpr DayAndName specialNames[] = {
    {nyse, "2001-09-11", "Attack on the World Trade Center"},
    {nyse, "2001-09-14", "Attack on the World Trade Center"},
    {nyse, "2012-10-30", "Hurricane Sandy"},
    {nyse, "2025-01-09", "Mourning for Jimmy Carter"},
    {nyse, "1997-01-20", ""},
    {nyse, "1998-01-19", "Martin Luther King Jr. Day"},
    {usBank, "1985-01-21", ""},
    {usBank, "1986-01-20", "Martin Luther King Jr. Day"},
    {tse, "2007-02-19", ""},
    {tse, "2008-02-18", "Family Day"},
    {tse, "2001-09-12", "Attack on the World Trade Center"},
};

TEST(SpecialClosings, AreThereWhenAskedFor) {
  for (const DayAndName& each : specialNames) {
    const auto calendar = BusinessCalendar::market(each.type, SpecialClosings::included);
    EXPECT_EQ(nameOn(calendar, each.day), each.name) << each.day;
    EXPECT_EQ(calendar.isBusinessDay(date(each.day)), *each.name == '\0') << each.day;
  }
}

TEST(SpecialClosings, EachDiffersFromTheRulesAndHasItsSource) {
  for (const ZHolidayType type : {usBank, nyse, tse}) {
    const BusinessCalendar rules = BusinessCalendar::market(type);
    CivilDate before{1979, 12, 31};
    for (const SpecialDay& special : specialDays(type)) {
      const Date on = day(special.day.year, special.day.month, special.day.day);
      EXPECT_EQ(rules.isBusinessDay(on), special.isClosed) << special.day;
      EXPECT_LT(before, special.day);
      EXPECT_FALSE(special.name.empty() || special.source.empty()) << special.day;
      before = special.day;
    }
  }
  EXPECT_EQ(specialDays(usBank).size(), 6U);
  EXPECT_EQ(specialDays(nyse).size(), 31U);
  EXPECT_EQ(specialDays(tse).size(), 29U);
  EXPECT_TRUE(specialDays(static_cast<ZHolidayType>(9)).empty());
}

}  // namespace
}  // namespace ztp::test
