// Zone conversions in New York beside Abseil and the date library: an instant's fields and the
// instant of a wall-clock time, for instants all over the years and for nearby ones.
#include <absl/time/civil_time.h>
#include <absl/time/time.h>
#include <benchmark/benchmark.h>
#include <date/tz.h>

#include <array>
#include <chrono>
#include <cstdint>

#include "bench/calendar/Samples.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::bench {
namespace {

constexpr const char* newYork = "America/New_York";

absl::TimeZone abseilZone() {
  absl::TimeZone zone;
  absl::LoadTimeZone(newYork, &zone);
  return zone;
}

void fieldsOurs(benchmark::State& state, const Instants& instants) {
  const auto zone = TimeZone::named(newYork);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const auto instant = Timestamp::fromUnixSeconds(static_cast<double>(instants[turn.next()]));
    benchmark::DoNotOptimize(ZTimestampUtilities::componentsForTimestamp(instant, zone));
  }
}

void fieldsAbseil(benchmark::State& state, const Instants& instants) {
  const auto zone = abseilZone();
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(zone.At(absl::FromUnixSeconds(instants[turn.next()])).cs);
  }
}

void fieldsDate(benchmark::State& state, const Instants& instants) {
  const auto* zone = date::locate_zone(newYork);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const date::sys_seconds instant{std::chrono::seconds{instants[turn.next()]}};
    const auto local = zone->to_local(instant);
    const auto day = date::floor<date::days>(local);
    benchmark::DoNotOptimize(date::year_month_day{day});
    benchmark::DoNotOptimize(date::hh_mm_ss{local - day});
  }
}

// What the wall clock showed at a sample, in the shapes that the three libraries take.
struct WallClock {
  Date date;
  absl::CivilSecond civil;
  date::local_seconds local;
};

std::array<WallClock, sampleCount> wallClocks(const Instants& instants) {
  const auto zone = abseilZone();
  std::array<WallClock, sampleCount> clocks{};
  for (std::size_t i = 0; i < sampleCount; ++i) {
    const auto civil = zone.At(absl::FromUnixSeconds(instants[i])).cs;
    const auto seconds = civil - absl::CivilSecond(1970, 1, 1);
    const auto day = absl::CivilDay(civil) - absl::CivilDay(1970, 1, 1);
    clocks[i] = {Date::fromUnixSeconds(noonOf(day)), civil,
                 date::local_seconds{std::chrono::seconds{seconds}}};
  }
  return clocks;
}

void instantOurs(benchmark::State& state, const Instants& instants) {
  const auto zone = TimeZone::named(newYork);
  const auto clocks = wallClocks(instants);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const auto& clock = clocks[turn.next()];
    benchmark::DoNotOptimize(ZTimestampUtilities::timestampWithDate(
        clock.date, zone, clock.civil.hour(), clock.civil.minute(), clock.civil.second()));
  }
}

void instantAbseil(benchmark::State& state, const Instants& instants) {
  const auto zone = abseilZone();
  const auto clocks = wallClocks(instants);
  Turn turn;
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(zone.At(clocks[turn.next()].civil).pre);
}

void instantDate(benchmark::State& state, const Instants& instants) {
  const auto* zone = date::locate_zone(newYork);
  const auto clocks = wallClocks(instants);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(zone->to_sys(clocks[turn.next()].local, date::choose::earliest));
  }
}

BENCHMARK_CAPTURE(fieldsOurs, , scatteredInstants())->Name("local fields, scattered/ours");
BENCHMARK_CAPTURE(fieldsAbseil, , scatteredInstants())->Name("local fields, scattered/Abseil");
BENCHMARK_CAPTURE(fieldsDate, , scatteredInstants())->Name("local fields, scattered/date");
BENCHMARK_CAPTURE(fieldsOurs, , nearbyInstants())->Name("local fields, nearby/ours");
BENCHMARK_CAPTURE(fieldsAbseil, , nearbyInstants())->Name("local fields, nearby/Abseil");
BENCHMARK_CAPTURE(fieldsDate, , nearbyInstants())->Name("local fields, nearby/date");
BENCHMARK_CAPTURE(instantOurs, , scatteredInstants())->Name("wall clock to instant/ours");
BENCHMARK_CAPTURE(instantAbseil, , scatteredInstants())->Name("wall clock to instant/Abseil");
BENCHMARK_CAPTURE(instantDate, , scatteredInstants())->Name("wall clock to instant/date");

}  // namespace
}  // namespace ztp::bench
