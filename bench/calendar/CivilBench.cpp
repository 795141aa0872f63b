// Year, month and day from a day and back, beside the standard library's calendar: the bare day
// numbers, and the dates of the public interface.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdint>

#include "bench/calendar/Samples.h"
#include "calendar/CivilDate.h"
#include "calendar/Timestamp.h"
#include "calendar/ZDateUtilities.h"

namespace ztp::bench {
namespace {

constexpr std::int64_t dayOfReference = 11'323;  // 2001-01-01 in days since 1970

template <typename Value, typename Make>
std::array<Value, sampleCount> samples(Make&& make) {
  std::array<Value, sampleCount> values{};
  const auto days = randomDays();
  for (std::size_t i = 0; i < sampleCount; ++i) values[i] = make(days[i]);
  return values;
}

std::chrono::sys_days standardDay(std::int64_t day) {
  return std::chrono::sys_days{std::chrono::days{day}};
}

DayNumber dayNumber(std::int64_t day) {
  return static_cast<DayNumber>(day - dayOfReference);
}

Date date(std::int64_t day) {
  return Date::fromUnixSeconds(noonOf(day));
}

// `convert` hands out the bare value, as a caller takes it: an optional in two registers would be
// stored and read again at once, which costs more than the conversion.
template <typename Sample, typename Convert>
void run(benchmark::State& state, const Sample& sample, Convert&& convert) {
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    auto input = sample[turn.next()];
    benchmark::DoNotOptimize(input);
    auto result = convert(input);
    benchmark::DoNotOptimize(result);
  }
}

void dayToNameOurs(benchmark::State& state) {
  run(state, samples<DayNumber>(dayNumber),
      [](DayNumber day) { return civilDateFromDayNumber(day); });
}

void dayToNameChrono(benchmark::State& state) {
  run(state, samples<std::chrono::sys_days>(standardDay),
      [](std::chrono::sys_days day) { return std::chrono::year_month_day{day}; });
}

void nameToDayOurs(benchmark::State& state) {
  run(state,
      samples<CivilDate>([](std::int64_t day) { return civilDateFromDayNumber(dayNumber(day)); }),
      [](const CivilDate& name) { return dayNumberFromCivilDate(name); });
}

void nameToDayChrono(benchmark::State& state) {
  run(state, samples<std::chrono::year_month_day>([](std::int64_t day) {
        return std::chrono::year_month_day{standardDay(day)};
      }),
      [](const std::chrono::year_month_day& name) { return std::chrono::sys_days{name}; });
}

void componentsFromDateOurs(benchmark::State& state) {
  run(state, samples<Date>(date),
      [](Date sample) { return ZDateUtilities::componentsFromDate(sample).value(); });
}

void componentsFromSecondsChrono(benchmark::State& state) {
  run(state, samples<double>([](std::int64_t day) { return noonOf(day); }), [](double seconds) {
    const std::chrono::duration<double> time{seconds};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    return std::chrono::year_month_day{std::chrono::sys_days{day}};
  });
}

// From whole seconds in an integer, without the double of a timestamp: less than is asked of ours.
void componentsFromIntegerChrono(benchmark::State& state) {
  run(state, samples<std::chrono::sys_seconds>([](std::int64_t day) {
        return std::chrono::sys_seconds(standardDay(day)) + std::chrono::hours(12);
      }),
      [](std::chrono::sys_seconds time) {
        return std::chrono::year_month_day{std::chrono::floor<std::chrono::days>(time)};
      });
}

void dateWithYearOurs(benchmark::State& state) {
  run(state,
      samples<CivilDate>([](std::int64_t day) { return civilDateFromDayNumber(dayNumber(day)); }),
      [](const CivilDate& name) {
        return ZDateUtilities::dateWithYear(name.year, name.month, name.day).value();
      });
}

void secondsFromNameChrono(benchmark::State& state) {
  run(state, samples<std::chrono::year_month_day>([](std::int64_t day) {
        return std::chrono::year_month_day{standardDay(day)};
      }),
      [](const std::chrono::year_month_day& name) {
        return noonOf(std::chrono::sys_days{name}.time_since_epoch().count());
      });
}

// The same asked as of ours: numbers of any size are looked at before they are taken for a day.
void secondsFromCheckedNameChrono(benchmark::State& state) {
  run(state,
      samples<CivilDate>([](std::int64_t day) { return civilDateFromDayNumber(dayNumber(day)); }),
      [](const CivilDate& name) {
        const std::chrono::year_month_day checked{
            std::chrono::year{name.year}, std::chrono::month{static_cast<unsigned>(name.month)},
            std::chrono::day{static_cast<unsigned>(name.day)}};
        if (!checked.ok()) return 0.0;
        return noonOf(std::chrono::sys_days{checked}.time_since_epoch().count());
      });
}

BENCHMARK(dayToNameOurs)->Name("day number to y-m-d/ours");
BENCHMARK(dayToNameChrono)->Name("day number to y-m-d/chrono");
BENCHMARK(nameToDayOurs)->Name("y-m-d to day number/ours");
BENCHMARK(nameToDayChrono)->Name("y-m-d to day number/chrono");
BENCHMARK(componentsFromDateOurs)->Name("componentsFromDate/ours");
BENCHMARK(componentsFromSecondsChrono)->Name("componentsFromDate/chrono");
BENCHMARK(componentsFromIntegerChrono)->Name("componentsFromDate/chrono of an integer");
BENCHMARK(dateWithYearOurs)->Name("dateWithYear/ours");
BENCHMARK(secondsFromNameChrono)->Name("dateWithYear/chrono unchecked");
BENCHMARK(secondsFromCheckedNameChrono)->Name("dateWithYear/chrono");

}  // namespace
}  // namespace ztp::bench
