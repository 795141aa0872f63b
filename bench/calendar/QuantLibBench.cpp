// The peer of HolidayBench.cpp and BusinessDayBench.cpp: QuantLib's calendars of the same three
// markets, on the same days.
#include <benchmark/benchmark.h>

#include <ql/time/calendars/canada.hpp>
#include <ql/time/calendars/unitedstates.hpp>
#include <ql/time/date.hpp>
#include <ql/time/period.hpp>

#include <array>

#include "bench/calendar/Samples.h"

namespace ztp::bench {
namespace {

constexpr QuantLib::Date::serial_type serialOf1970 = 25'569;

template <typename Ask>
void overDates(benchmark::State& state, Ask&& ask) {
  std::array<QuantLib::Date, sampleCount> dates{};
  const auto days = randomDays();
  for (std::size_t i = 0; i < sampleCount; ++i) {
    dates[i] = QuantLib::Date(serialOf1970 + static_cast<QuantLib::Date::serial_type>(days[i]));
  }
  Turn turn;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(ask(dates[turn.next()]));
}

void bankHoliday(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state, [&](const QuantLib::Date& date) { return calendar.isHoliday(date); });
}

void newYorkHoliday(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::NYSE);
  overDates(state, [&](const QuantLib::Date& date) { return calendar.isHoliday(date); });
}

void torontoHoliday(benchmark::State& state) {
  const QuantLib::Canada calendar(QuantLib::Canada::TSX);
  overDates(state, [&](const QuantLib::Date& date) { return calendar.isHoliday(date); });
}

void tenBusinessDays(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state,
            [&](const QuantLib::Date& date) { return calendar.advance(date, 10, QuantLib::Days); });
}

void businessDay(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state, [&](const QuantLib::Date& date) { return calendar.isBusinessDay(date); });
}

void adjust(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state, [&](const QuantLib::Date& date) {
    return calendar.adjust(date, QuantLib::ModifiedFollowing);
  });
}

void advance(benchmark::State& state, int count) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state, [&](const QuantLib::Date& date) {
    return calendar.advance(date, count, QuantLib::Days);
  });
}

void countOfCentury(benchmark::State& state) {
  const QuantLib::UnitedStates calendar(QuantLib::UnitedStates::FederalReserve);
  overDates(state, [&](const QuantLib::Date& date) {
    return calendar.businessDaysBetween(date, date + 36'525);
  });
}

BENCHMARK(bankHoliday)->Name("holiday query, US bank/QuantLib");
BENCHMARK(newYorkHoliday)->Name("holiday query, NYSE/QuantLib");
BENCHMARK(torontoHoliday)->Name("holiday query, TSE/QuantLib");
BENCHMARK(tenBusinessDays)->Name("ten processing days/QuantLib");
BENCHMARK(businessDay)->Name("business day/QuantLib");
BENCHMARK(adjust)->Name("adjust, modified following/QuantLib");
BENCHMARK_CAPTURE(advance, , 10)->Name("advance by 10/QuantLib");
BENCHMARK_CAPTURE(advance, , 1000)->Name("advance by 1000/QuantLib");
BENCHMARK(countOfCentury)->Name("count of a century/QuantLib");

}  // namespace
}  // namespace ztp::bench
