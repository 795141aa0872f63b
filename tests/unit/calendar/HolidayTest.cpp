// ZDateUtilities: holidays of the three calendars, official and observed, and Easter.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::test {
namespace {

constexpr ZHolidayType usBank = ZHolidayType::ZHolidayTypeUSBank;
constexpr ZHolidayType nyse = ZHolidayType::ZHolidayTypeNYSE;
constexpr ZHolidayType tse = ZHolidayType::ZHolidayTypeTSE;

// "official", "in lieu", "no", and "no, in lieu" for the one odd answer there is.
std::string answer(std::optional<Date> date, ZHolidayType type) {
  bool inLieu = true;
  const bool holiday = ZDateUtilities::isDateHoliday(date, type, &inLieu);
  if (holiday) return inLieu ? "in lieu" : "official";
  return inLieu ? "no, in lieu" : "no";
}

struct HolidayCase {
  Date date;
  const char* usBank;
  const char* nyse;
  const char* tse;
};

constexpr const char* yes = "official";
constexpr const char* lieu = "in lieu";
constexpr const char* no = "no";
constexpr const char* oddMonday = "no, in lieu";

// Every row of the table of official holidays, on a year whose weekdays make it plain.
const HolidayCase officialHolidays[] = {
    {day(2019, 1, 1), yes, yes, yes},
    {day(2019, 1, 21), yes, yes, oddMonday},  // third Monday
    {day(2019, 1, 14), no, no, oddMonday},
    {day(2019, 1, 28), no, no, oddMonday},
    {day(2019, 2, 18), yes, yes, yes},
    {day(2019, 2, 11), no, no, oddMonday},
    {day(2019, 4, 19), no, yes, yes},  // Good Friday
    {day(2024, 3, 29), no, yes, yes},
    {day(2019, 4, 12), no, no, no},
    {day(2019, 5, 27), yes, yes, oddMonday},  // Monday from the 25th on
    {day(2019, 5, 20), no, no, yes},          // Monday, 18th to 24th
    {day(2020, 5, 25), yes, yes, oddMonday},
    {day(2020, 5, 18), no, no, yes},
    {day(2021, 5, 31), yes, yes, oddMonday},
    {day(2021, 5, 24), no, no, yes},
    {day(2023, 6, 19), yes, yes, oddMonday},
    {day(2019, 7, 1), no, no, yes},
    {day(2019, 7, 4), yes, yes, no},
    {day(2019, 8, 5), no, no, yes},
    {day(2019, 8, 12), no, no, oddMonday},
    {day(2019, 9, 2), yes, yes, yes},
    {day(2019, 10, 14), yes, no, yes},
    {day(2019, 11, 11), yes, no, oddMonday},
    {day(2019, 11, 28), yes, yes, no},  // fourth Thursday
    {day(2018, 11, 29), no, no, no},    // fifth Thursday
    {day(2019, 12, 25), yes, yes, yes},
    {day(2019, 12, 26), no, no, yes},
    {day(2019, 12, 24), no, no, no},
    // Official ones stay what they are on a weekend.
    {day(2021, 7, 4), yes, yes, no},
    {day(2021, 12, 25), yes, yes, yes},
    {day(2021, 12, 26), no, no, yes},
};

const HolidayCase observedHolidays[] = {
    // Juneteenth began in 2022.
    {day(2021, 6, 18), no, no, no},
    {day(2021, 6, 19), no, no, no},
    {day(2022, 6, 19), yes, yes, no},
    {day(2022, 6, 20), lieu, lieu, oddMonday},
    // New Year's Day 2022 on a Saturday: the Friday ends the year, the bank never observes Fridays.
    {day(2021, 12, 31), no, no, no},
    {day(2022, 1, 1), yes, yes, yes},
    {day(2022, 1, 3), no, no, lieu},
    // 4 July 2020 on a Saturday, 2021 on a Sunday.
    {day(2020, 7, 3), no, lieu, no},
    {day(2021, 7, 5), lieu, lieu, oddMonday},
    // Christmas 2022 on a Sunday.
    {day(2022, 12, 26), lieu, lieu, yes},
    {day(2022, 12, 27), no, no, lieu},
    // Christmas 2021 on a Saturday, Boxing Day on a Sunday.
    {day(2021, 12, 24), no, lieu, no},
    {day(2021, 12, 27), no, no, lieu},
    {day(2021, 12, 28), no, no, lieu},
    // Boxing Day 2020 on a Saturday: the Monday alone.
    {day(2020, 12, 28), no, no, lieu},
    {day(2020, 12, 29), no, no, no},
    // Canada Day 2023 on a Saturday, 2018 on a Sunday.
    {day(2023, 7, 3), no, no, lieu},
    {day(2018, 7, 2), no, no, lieu},
    {day(2018, 7, 3), no, no, no},
    // Veterans Day 2018 on a Sunday, 2017 on a Saturday.
    {day(2018, 11, 12), lieu, no, oddMonday},
    {day(2017, 11, 10), no, no, no},
    // 31 January 2000 is a Monday, the last of its month, and nothing is observed on it.
    {day(2000, 1, 31), no, no, oddMonday},
    {day(2019, 3, 12), no, no, no},
};

TEST(Holidays, AreOfficialByTheTable) {
  for (const HolidayCase& at : officialHolidays) {
    EXPECT_EQ(answer(at.date, usBank), at.usBank) << text(at.date);
    EXPECT_EQ(answer(at.date, nyse), at.nyse) << text(at.date);
    EXPECT_EQ(answer(at.date, tse), at.tse) << text(at.date);
  }
}

TEST(Holidays, AreObservedOnWeekdaysByTheRuleOfEachCalendar) {
  for (const HolidayCase& at : observedHolidays) {
    EXPECT_EQ(answer(at.date, usBank), at.usBank) << text(at.date);
    EXPECT_EQ(answer(at.date, nyse), at.nyse) << text(at.date);
    EXPECT_EQ(answer(at.date, tse), at.tse) << text(at.date);
  }
}

TEST(Holidays, HaveAWrapperForEachCalendar) {
  for (const HolidayCase& at : officialHolidays) {
    EXPECT_EQ(ZDateUtilities::isUSBankHoliday(at.date), answer(at.date, usBank) == yes);
    EXPECT_EQ(ZDateUtilities::isNYSEHoliday(at.date), answer(at.date, nyse) == yes);
    EXPECT_EQ(ZDateUtilities::isTSEHoliday(at.date), answer(at.date, tse) == yes);
  }
  EXPECT_TRUE(ZDateUtilities::isNYSEHoliday(day(2020, 7, 3)));
  EXPECT_FALSE(ZDateUtilities::isUSBankHoliday(std::nullopt));
  EXPECT_FALSE(ZDateUtilities::isNYSEHoliday(std::nullopt));
  EXPECT_FALSE(ZDateUtilities::isTSEHoliday(std::nullopt));
}

TEST(Holidays, EveryTorontoMondayThatIsNotOfficialSetsTheFlag) {
  int mondays = 0;
  for (int month = 1; month <= 12; ++month) {
    for (int dayOfMonth = 1; dayOfMonth <= 28; ++dayOfMonth) {
      const Date date = day(2019, month, dayOfMonth);
      if (ZDateUtilities::dayOfWeekForDate(date) != 2) continue;
      ++mondays;
      EXPECT_NE(answer(date, tse), no) << text(date);
    }
  }
  EXPECT_EQ(mondays, 48);
}

TEST(Holidays, WithoutADateOrAFlagTheAnswerIsNoAndNothingIsWritten) {
  bool flag = true;
  EXPECT_FALSE(ZDateUtilities::isDateHoliday(std::nullopt, usBank, &flag));
  EXPECT_TRUE(flag);
  EXPECT_FALSE(ZDateUtilities::isDateHoliday(day(2019, 12, 25), usBank, nullptr));
}

TEST(Holidays, OfAnyOtherTypeThereAreNone) {
  for (const int number : {0, 4, -1, 1000}) {
    EXPECT_EQ(answer(day(2019, 12, 25), static_cast<ZHolidayType>(number)), no) << number;
    EXPECT_EQ(answer(day(2019, 12, 23), static_cast<ZHolidayType>(number)), no) << number;
  }
}

TEST(Holidays, AreReadInUTCWhateverTheLocalZone) {
  for (const char* name : {"Pacific/Kiritimati", "Pacific/Pago_Pago", "America/New_York"}) {
    const LocalZoneIs local(name);
    EXPECT_EQ(answer(day(2019, 12, 25), usBank), yes) << name;
    EXPECT_EQ(answer(day(2019, 12, 24), usBank), no) << name;
    EXPECT_TRUE(ZDateUtilities::isWeekend(day(2019, 12, 22))) << name;
  }
}

TEST(Holidays, OfAnInstantThatIsNoDateAreThoseOfItsDayButNeverGoodFriday) {
  EXPECT_EQ(answer(utc(2019, 12, 25, 23, 30), nyse), yes);
  EXPECT_EQ(answer(utc(2019, 4, 19, 12, 0, 1), tse), no);
  testing::internal::CaptureStderr();
  EXPECT_EQ(answer(utc(2019, 4, 19, 12, 0, 1), nyse), no);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(said.starts_with("ERROR: Timestamp is not a valid date: 2019-04-19 12:00:01 +0000\n"))
      << said;
}

TEST(Holidays, OfAnInstantThatIsNoDateKnowNoPeriodEnd) {
  // The last day of 2021, a Friday before a Saturday's holiday, but a second past noon.
  const LocalZoneIs utcZone("UTC");  // one that has nothing to report itself
  testing::internal::CaptureStderr();
  EXPECT_EQ(answer(utc(2021, 12, 31, 12, 0, 1), nyse), lieu);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
}

TEST(Holidays, BeyondTheCalendarThereAreNone) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double seconds : {1e300, -1e300, 1e15, nan}) {
    EXPECT_EQ(answer(Timestamp(seconds), usBank), no);
    EXPECT_EQ(answer(Timestamp(seconds), tse), no);
  }
  EXPECT_EQ(answer(day(1, 1, 1), nyse), yes);
  EXPECT_EQ(answer(day(lastCalendarYear, 12, 31), nyse), no);
}

struct EasterCase {
  std::int64_t year;
  const char* date;
};

constexpr EasterCase easters[] = {
    {2024, "2024-03-31"},
    {2025, "2025-04-20"},
    {2019, "2019-04-21"},
    {1818, "1818-03-22"},
    {2008, "2008-03-23"},
    {1943, "1943-04-25"},
    {2038, "2038-04-25"},
    {2000, "2000-04-23"},
    {1961, "1961-04-02"},
    {0, "none"},
    {-1, "none"},
    {std::numeric_limits<std::int64_t>::max(), "none"},
    {std::numeric_limits<std::int64_t>::min(), "none"},
};

TEST(Easter, IsTheSundayOfTheGregorianRule) {
  for (const EasterCase& at : easters) {
    EXPECT_EQ(text(ZDateUtilities::easterforYear(at.year)), at.date) << at.year;
  }
}

}  // namespace
}  // namespace ztp::test
