// Holiday queries and stepping by ten processing days; QuantLibBench.cpp has the peer's.
#include <benchmark/benchmark.h>

#include "bench/calendar/Samples.h"
#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::bench {
namespace {

template <typename Ask>
void overDates(benchmark::State& state, Ask&& ask) {
  const auto days = randomDays();
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(ask(Date::fromUnixSeconds(noonOf(days[turn.next()]))));
  }
}

void bankHoliday(benchmark::State& state) {
  overDates(state, [](Date date) { return ZDateUtilities::isUSBankHoliday(date); });
}

void newYorkHoliday(benchmark::State& state) {
  overDates(state, [](Date date) { return ZDateUtilities::isNYSEHoliday(date); });
}

void torontoHoliday(benchmark::State& state) {
  overDates(state, [](Date date) { return ZDateUtilities::isTSEHoliday(date); });
}

void tenProcessingDays(benchmark::State& state) {
  overDates(state,
            [](Date date) { return ZDateUtilities::dateFromDate(date, 10, "Saturday,Sunday", 1); });
}

BENCHMARK(bankHoliday)->Name("holiday query, US bank/ours");
BENCHMARK(newYorkHoliday)->Name("holiday query, NYSE/ours");
BENCHMARK(torontoHoliday)->Name("holiday query, TSE/ours");
BENCHMARK(tenProcessingDays)->Name("ten processing days/ours");

}  // namespace
}  // namespace ztp::bench
