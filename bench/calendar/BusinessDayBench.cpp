// BusinessCalendar: queries, steps, counts and the making of a table; QuantLibBench.cpp has the
// peer's.
#include <benchmark/benchmark.h>

#include <array>

#include "bench/calendar/Samples.h"
#include "calendar/BusinessCalendar.h"

namespace ztp::bench {
namespace {

BusinessCalendar bank() {
  return BusinessCalendar::market(ZHolidayType::ZHolidayTypeUSBank);
}

template <typename Ask>
void overDates(benchmark::State& state, Ask&& ask) {
  std::array<Date, sampleCount> dates{};
  const auto days = randomDays();
  for (std::size_t i = 0; i < sampleCount; ++i) dates[i] = Date::fromUnixSeconds(noonOf(days[i]));
  Turn turn;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(ask(dates[turn.next()]));
}

void isBusinessDay(benchmark::State& state) {
  overDates(state, [calendar = bank()](Date date) { return calendar.isBusinessDay(date); });
}

void nameOfHoliday(benchmark::State& state) {
  overDates(state, [calendar = bank()](Date date) { return calendar.nameOfHoliday(date); });
}

void adjust(benchmark::State& state) {
  overDates(state, [calendar = bank()](Date date) {
    return calendar.adjust(date, BusinessDayConvention::modifiedFollowing);
  });
}

void advance(benchmark::State& state, int count) {
  overDates(state, [calendar = bank(), count](Date date) { return calendar.advance(date, count); });
}

void countOfCentury(benchmark::State& state) {
  constexpr double secondsOfCentury = 36'525.0 * 86'400.0;
  overDates(state, [calendar = bank()](Date date) {
    return calendar.businessDays(date, date + secondsOfCentury);
  });
}

void makeCustom(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(
        BusinessCalendar::custom({{1, 7}, {RecurringHoliday::onDay("Holiday", 8, 15)}, {}, {}}));
  }
}

BENCHMARK(isBusinessDay)->Name("business day/ours");
BENCHMARK(nameOfHoliday)->Name("name of a holiday/ours");
BENCHMARK(adjust)->Name("adjust, modified following/ours");
BENCHMARK_CAPTURE(advance, , 10)->Name("advance by 10/ours");
BENCHMARK_CAPTURE(advance, , 1000)->Name("advance by 1000/ours");
BENCHMARK(countOfCentury)->Name("count of a century/ours");
BENCHMARK(makeCustom)->Name("make a calendar/ours");

}  // namespace
}  // namespace ztp::bench
