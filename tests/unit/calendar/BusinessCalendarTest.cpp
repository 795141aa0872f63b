// BusinessCalendar: the markets' days, counting and stepping. CustomCalendarTest.cpp has the
// others.
#include "calendar/BusinessCalendar.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "BusinessCalendarTesting.h"
#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr DayAndName marketDays[] = {
    {usBank, "2022-06-20", "Juneteenth (in lieu)"},
    {nyse, "2020-07-03", "Independence Day (in lieu)"},
    {usBank, "2020-07-03", ""},
    {usBank, "2020-07-04", "Independence Day"},  // a Saturday
    {nyse, "2024-03-29", "Good Friday"},
    {tse, "2024-03-29", "Good Friday"},
    {usBank, "2024-03-29", ""},
    {usBank, "2024-02-19", "Washington's Birthday"},
    {tse, "2024-02-19", "Family Day"},
    {nyse, "2024-09-02", "Labor Day"},
    {tse, "2024-09-02", "Labour Day"},
    {usBank, "2024-10-14", "Columbus Day"},
    {tse, "2024-10-14", "Thanksgiving Day"},
    {nyse, "2024-11-28", "Thanksgiving Day"},
    {tse, "2022-12-26", "Boxing Day"},
    {tse, "2022-12-27", "Christmas Day (in lieu)"},
    {tse, "2021-12-27", "Christmas Day (in lieu)"},
    {tse, "2021-12-28", "Boxing Day (in lieu)"},
    {tse, "2022-01-03", "New Year's Day (in lieu)"},
    {tse, "2024-03-04", ""},  // a Monday, of which the flag is set though it is no holiday
};

TEST(BusinessCalendar, NamesTheHolidaysOfTheMarkets) {
  for (const DayAndName& each : marketDays) {
    EXPECT_EQ(nameOn(BusinessCalendar::market(each.type), each.day), each.name) << each.day;
  }
}

TEST(BusinessCalendar, AnswersAsIsDateHolidayInEveryYear) {
  for (const ZHolidayType type : {usBank, nyse, tse}) {
    const BusinessCalendar calendar = BusinessCalendar::market(type);
    int holidays = 0;
    for (Date each = day(1900, 1, 1); each <= day(2299, 12, 31); each += 86'400.0) {
      bool inLieu = false;
      const bool isHoliday = ZDateUtilities::isDateHoliday(each, type, &inLieu);
      const HolidayName name = calendar.nameOfHoliday(each);
      ASSERT_EQ(name.isHoliday, isHoliday) << each;
      ASSERT_EQ(name.inLieu, isHoliday && inLieu) << each;
      ASSERT_EQ(calendar.isBusinessDay(each), !isHoliday && !ZDateUtilities::isWeekend(each));
      holidays += isHoliday ? 1 : 0;
    }
    EXPECT_EQ(std::ssize(calendar.holidays(day(1900, 1, 1), day(2300, 1, 1))), holidays);
  }
}

TEST(BusinessCalendar, ListsHolidaysInOrder) {
  const auto holidays =
      BusinessCalendar::market(nyse).holidays(date("2020-06-01"), date("2020-11-26"));
  ASSERT_EQ(holidays.size(), 3U);
  EXPECT_EQ(text(holidays[0].date), "2020-07-03");
  EXPECT_TRUE(holidays[0].inLieu);
  EXPECT_EQ(text(holidays[1].date), "2020-07-04");
  EXPECT_FALSE(holidays[1].inLieu);
  EXPECT_EQ(text(holidays[2].date), "2020-09-07");
  EXPECT_EQ(holidays[2].name, "Labor Day");
  EXPECT_TRUE(
      BusinessCalendar::market(nyse).holidays(date("2020-11-26"), date("2020-06-01")).empty());
}

struct Step {
  const char* from;
  std::int64_t count;
  const char* to;
};

constexpr Step bankSteps[] = {
    {"2020-07-06", 0, "2020-07-06"},   {"2020-07-06", 1, "2020-07-07"},
    {"2020-07-06", 5, "2020-07-13"},   {"2020-07-06", -1, "2020-07-03"},
    {"2020-07-11", 0, "2020-07-13"},  // a Saturday
    {"2020-07-11", 1, "2020-07-13"},   {"2020-07-11", 2, "2020-07-14"},
    {"2020-07-11", -1, "2020-07-10"},  {"2020-07-11", -5, "2020-07-06"},
    {"2022-06-17", 1, "2022-06-21"},  // over Juneteenth on the Monday
    {"2022-06-21", -1, "2022-06-17"},  {"2019-12-31", 1, "2020-01-02"},
    {"2020-01-01", 250, "2020-12-28"}, {"2020-01-02", 2'500, "2029-12-17"},
};

TEST(BusinessCalendar, AdvancesOverBusinessDays) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  for (const Step& step : bankSteps) {
    EXPECT_EQ(text(bank.advance(date(step.from), step.count)), step.to)
        << step.from << " " << step.count;
  }
}

TEST(BusinessCalendar, AdvancesAsOneStepAfterTheOther) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  Date forward = date("2010-05-05");
  Date backward = forward;
  for (std::int64_t count = 1; count <= 3'000; ++count) {
    forward = bank.advance(forward, 1).value();
    backward = bank.advance(backward, -1).value();
    ASSERT_EQ(text(bank.advance(date("2010-05-05"), count)), text(forward)) << count;
    ASSERT_EQ(text(bank.advance(date("2010-05-05"), -count)), text(backward)) << count;
  }
}

// What the header says of the difference.
TEST(BusinessCalendar, AdvanceIsNotTheSteppingOfDateFromDate) {
  const Date saturdayInJuly = date("2020-07-11");
  EXPECT_EQ(text(BusinessCalendar::market(usBank).advance(saturdayInJuly, 1)), "2020-07-13");
  EXPECT_EQ(text(ZDateUtilities::dateFromDate(saturdayInJuly, 1, "Saturday,Sunday", 1)),
            "2020-07-14");
}

TEST(BusinessCalendar, CountsFromTheFirstDateOnAndBeforeTheSecond) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  EXPECT_EQ(bank.businessDays(date("2020-07-06"), date("2020-07-13")), 5);
  EXPECT_EQ(bank.businessDays(date("2020-07-13"), date("2020-07-06")), -5);
  EXPECT_EQ(bank.businessDays(date("2020-07-06"), date("2020-07-06")), 0);
  EXPECT_EQ(bank.businessDays(date("2020-07-11"), date("2020-07-13")), 0);
  EXPECT_EQ(bank.businessDays(date("2022-01-01"), date("2023-01-01")), 250);
  EXPECT_EQ(bank.businessDays(date("1900-01-01"), date("2299-12-31")), 100'342);
}

struct Adjustment {
  const char* from;
  BusinessDayConvention convention;
  const char* to;
};

constexpr auto following = BusinessDayConvention::following;
constexpr auto modifiedFollowing = BusinessDayConvention::modifiedFollowing;
constexpr auto preceding = BusinessDayConvention::preceding;
constexpr auto modifiedPreceding = BusinessDayConvention::modifiedPreceding;
constexpr auto unadjusted = BusinessDayConvention::unadjusted;

constexpr Adjustment adjustments[] = {
    {"2020-05-30", following, "2020-06-01"},  // a Saturday at the end of May
    {"2020-05-30", modifiedFollowing, "2020-05-29"},
    {"2020-05-30", preceding, "2020-05-29"},
    {"2020-05-30", modifiedPreceding, "2020-05-29"},
    {"2020-05-30", unadjusted, "2020-05-30"},
    {"2020-08-01", preceding, "2020-07-31"},  // a Saturday at the beginning of August
    {"2020-08-01", modifiedPreceding, "2020-08-03"},
    {"2020-08-01", modifiedFollowing, "2020-08-03"},
    {"2020-06-01", following, "2020-06-01"},  // a business day stays
    {"2020-06-01", modifiedPreceding, "2020-06-01"},
};

TEST(BusinessCalendar, AdjustsByTheConvention) {
  for (const Adjustment& each : adjustments) {
    EXPECT_EQ(text(BusinessCalendar::market(usBank).adjust(date(each.from), each.convention)),
              each.to)
        << each.from;
  }
}

struct MonthStep {
  const char* from;
  std::int64_t months;
  EndOfMonth endOfMonth;
  const char* to;
};

constexpr MonthStep monthSteps[] = {
    {"2020-01-31", 1, EndOfMonth::ignored, "2020-03-02"},  // 29 February was a Saturday
    {"2020-01-31", 1, EndOfMonth::kept, "2020-02-28"},
    {"2020-02-28", 1, EndOfMonth::ignored, "2020-03-30"},  // 28 March was a Saturday
    {"2020-02-28", 1, EndOfMonth::kept, "2020-03-31"},
    {"2020-02-29", 1, EndOfMonth::kept, "2020-03-31"},
    {"2020-02-27", 1, EndOfMonth::kept, "2020-03-27"},
    {"2020-03-31", -1, EndOfMonth::kept, "2020-02-28"},
    {"2020-01-15", 12, EndOfMonth::kept, "2021-01-15"},
};

TEST(BusinessCalendar, AdvancesByMonths) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  for (const MonthStep& step : monthSteps) {
    EXPECT_EQ(text(bank.advanceMonths(date(step.from), step.months, following, step.endOfMonth)),
              step.to)
        << step.from;
  }
  EXPECT_EQ(text(bank.advanceMonths(date("2020-02-15"), 1, preceding)), "2020-03-13");
}

TEST(BusinessCalendar, KnowsTheLastBusinessDayOfAMonth) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  EXPECT_EQ(text(bank.lastBusinessDayOfMonth(date("2020-02-10"))), "2020-02-28");
  EXPECT_EQ(text(bank.lastBusinessDayOfMonth(date("2020-05-31"))), "2020-05-29");
  EXPECT_TRUE(bank.isEndOfMonth(date("2020-02-28")));
  EXPECT_TRUE(bank.isEndOfMonth(date("2020-02-29")));
  EXPECT_FALSE(bank.isEndOfMonth(date("2020-02-27")));
}

TEST(BusinessCalendar, ReadsAnInstantAsItsDayInUTC) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  EXPECT_FALSE(bank.isBusinessDay(utc(2020, 7, 11, 23, 59)));
  EXPECT_TRUE(bank.isBusinessDay(utc(2020, 7, 13, 0, 0)));
  EXPECT_EQ(text(bank.adjust(utc(2020, 7, 13, 3))), "2020-07-13");
  EXPECT_EQ(text(bank.advance(utc(2020, 7, 13, 3), 1)), "2020-07-14");
}

TEST(BusinessCalendar, KnowsNothingOutsideItsYears) {
  const BusinessCalendar bank = BusinessCalendar::market(usBank);
  for (const Date outside : {date("1899-12-29"), day(2300, 1, 2), Date(1e300),
                             Date(std::numeric_limits<double>::quiet_NaN())}) {
    EXPECT_FALSE(bank.isBusinessDay(outside));
    EXPECT_FALSE(bank.nameOfHoliday(outside).isHoliday);
    EXPECT_EQ(bank.adjust(outside), std::nullopt);
    EXPECT_EQ(bank.advance(outside, 1), std::nullopt);
    EXPECT_EQ(bank.advanceMonths(outside, 1), std::nullopt);
    EXPECT_EQ(bank.lastBusinessDayOfMonth(outside), std::nullopt);
    EXPECT_FALSE(bank.isEndOfMonth(outside));
    EXPECT_EQ(bank.businessDays(outside, date("2020-01-01")), std::nullopt);
    EXPECT_EQ(bank.businessDays(date("2020-01-01"), outside), std::nullopt);
  }
  EXPECT_EQ(bank.advance(date("2020-01-01"), 1'000'000), std::nullopt);
  EXPECT_EQ(bank.advance(date("2020-01-01"), std::numeric_limits<std::int64_t>::min()),
            std::nullopt);
  EXPECT_EQ(bank.advance(date("2020-01-01"), std::numeric_limits<std::int64_t>::max()),
            std::nullopt);
  EXPECT_EQ(text(bank.advance(date("2299-12-28"), 1)), "2299-12-29");
  EXPECT_EQ(bank.advance(date("2299-12-29"), 1), std::nullopt);
  EXPECT_EQ(text(bank.advance(date("1900-01-03"), -1)), "1900-01-02");
  EXPECT_EQ(bank.advance(date("1900-01-02"), -1), std::nullopt);
  EXPECT_EQ(bank.adjust(date("1900-01-01"), preceding), std::nullopt);
  EXPECT_EQ(bank.adjust(date("2299-12-31"), following), std::nullopt);
}

TEST(BusinessCalendar, OfAnUnknownMarketHasWeekendsOnly) {
  const BusinessCalendar none = BusinessCalendar::market(static_cast<ZHolidayType>(9));
  EXPECT_TRUE(none.isBusinessDay(date("2020-12-25")));
  EXPECT_FALSE(none.isBusinessDay(date("2020-12-26")));
}

}  // namespace
}  // namespace ztp::test
