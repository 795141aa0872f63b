// Eight threads use everything at once: all get the answers of one alone. Run under
// ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "CalendarTesting.h"
#include "calendar/BusinessCalendar.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::test {
namespace {

constexpr const char* zoneNames[] = {"America/New_York", "Europe/London",   "Asia/Kathmandu",
                                     "Pacific/Apia",     "Australia/Eucla", "America/Caracas",
                                     "Africa/Monrovia",  "Asia/Tehran"};

// Something of every group of operations, as one text.
std::string everythingOnce(int round) {
  const auto at = static_cast<std::size_t>(round) % std::size(zoneNames);
  const TimeZone zone = test::zone(zoneNames[at]);
  const Date date = day(2019, 1 + round % 12, 1 + round % 28);
  const auto midnight = ZTimestampUtilities::timestampAtMidnightOnDate(date, zone);
  std::string all = text(midnight);
  all += ZTimestampUtilities::ISO8601StringFromTimestamp(midnight).value();
  all += text(ZTimestampUtilities::timestampFromISO8601String("2019-03-15T13:30:00.250Z"));
  all += text(ZTimestampUtilities::timestampFromRFC1123String("Fri, 15 Mar 2019 13:30:00 +0000"));
  all += ZTimestampUtilities::ISO8601ESTStringFromTimestamp(midnight).value();
  all += text(ZTimestampUtilities::timestampFromZanburyTestCaseString("03/15/2019 01:30:00PM"));
  all += text(ZTimestampUtilities::timestampByAddingDays(round, midnight));
  all += std::to_string(ZTimestampUtilities::numberOfDaysFromTimestamp(midnight, date));
  all += text(ZDateUtilities::dateWithTimestamp(midnight, std::nullopt));
  all += text(ZDateUtilities::distantPast()) + text(ZDateUtilities::distantFuture());
  all += ZDateUtilities::isObjectValidDate(ZDateUtilities::currentDate()) ? "y" : "n";
  all += text(ZDateUtilities::dateFromDate(date, round % 20, "Saturday,Sunday", 1));
  all += ZDateUtilities::isTSEHoliday(date) ? "y" : "n";
  all += text(ZDateUtilities::lastDayOfTaxQuarterContainingDate(date));
  all += std::to_string(ZDateUtilities::timeZoneOffsetFromOFXTimeString("x[:EST]"));
  all += TimeZone::named("No/Such_Zone") ? "y" : "n";
  return all;
}

TEST(Threads, EightGetTheAnswersOfOne) {
  constexpr int rounds = 200;
  std::atomic<int> waiting = 8;
  std::vector<std::vector<std::string>> results(8);
  std::vector<std::thread> threads;
  for (std::vector<std::string>& mine : results) {
    threads.emplace_back([&mine, &waiting] {
      // All set off together, so that the first use of everything is a race.
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      for (int round = 0; round < rounds; ++round) mine.push_back(everythingOnce(round));
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int round = 0; round < rounds; ++round) {
    const std::string expected = everythingOnce(round);
    for (const std::vector<std::string>& mine : results) {
      ASSERT_EQ(mine[static_cast<std::size_t>(round)], expected);
    }
  }
}

TEST(Threads, MayAskForTheCurrentDateWhileItIsRefreshed) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([thread, &wrong] {
      for (int round = 0; round < 500; ++round) {
        const Date date =
            thread == 0 ? ZDateUtilities::refreshCurrentDate() : ZDateUtilities::currentDate();
        if (!ZDateUtilities::isObjectValidDate(date)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

// Everything of a business calendar that is the first use of something, as one text.
std::string businessOnce(const BusinessCalendar& shared, int round) {
  const Date date = day(2019, 1 + round % 12, 1 + round % 28);
  const auto type = static_cast<ZHolidayType>(1 + round % 3);
  const BusinessCalendar market = BusinessCalendar::market(type, SpecialClosings::included);
  std::string all = text(market.advance(date, round)) + text(shared.advance(date, -round));
  all += text(shared.adjust(date, BusinessDayConvention::modifiedFollowing));
  all += std::to_string(shared.businessDays(date, day(2030, 1, 1)).value());
  all += shared.nameOfHoliday(day(2019, 7, 1)).name;
  all += std::to_string(market.holidays(date, day(2020, 1, 1)).size());
  const BusinessCalendar copy = shared;
  all += copy.isBusinessDay(date) ? "y" : "n";
  return all;
}

TEST(Threads, ShareBusinessCalendars) {
  const BusinessCalendar shared =
      BusinessCalendar::closedWhenAny({BusinessCalendar::market(ZHolidayType::ZHolidayTypeNYSE),
                                       BusinessCalendar::market(ZHolidayType::ZHolidayTypeTSE)});
  constexpr int rounds = 100;
  std::vector<std::string> expected;
  for (int round = 0; round < rounds; ++round) expected.push_back(businessOnce(shared, round));
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        if (businessOnce(shared, round) != expected[static_cast<std::size_t>(round)]) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(Threads, MakeMarketsAndNamesTogether) {
  std::vector<std::thread> threads;
  std::atomic<int> waiting = 8;
  std::atomic<int> wrong = 0;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&waiting, &wrong] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      const BusinessCalendar bank = BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank);
      const BusinessCalendar ours = bank.withClosedDays({{day(2019, 5, 3), "Founder's Day"}});
      if (ours.nameOfHoliday(day(2019, 5, 3)).name != "Founder's Day") ++wrong;
      if (!bank.isBusinessDay(day(2019, 5, 3))) ++wrong;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace ztp::test
