// Reading and printing the ISO 8601 form and reading the RFC 1123 form, beside ICU's
// SimpleDateFormat, Abseil's ParseTime and FormatTime, and libc's strptime and strftime.
#include <absl/strings/string_view.h>
#include <absl/time/time.h>
#include <benchmark/benchmark.h>
#include <unicode/smpdtfmt.h>

#include <array>
#include <cstddef>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/calendar/Samples.h"
#include "calendar/Timestamp.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::bench {
namespace {

constexpr const char* isoPattern = "yyyy-MM-dd'T'HH:mm:ss'Z'";
constexpr const char* isoFormat = "%Y-%m-%dT%H:%M:%SZ";
constexpr const char* rfcPattern = "EEE, dd MMM yyyy HH':'mm':'ss Z";
constexpr const char* rfcFormat = "%a, %d %b %Y %H:%M:%S %z";

using Texts = std::array<std::string, sampleCount>;

Texts texts(const char* format) {
  Texts result;
  const auto instants = scatteredInstants();
  for (std::size_t i = 0; i < sampleCount; ++i) {
    result[i] = absl::FormatTime(format, absl::FromUnixSeconds(instants[i]), absl::UTCTimeZone());
  }
  return result;
}

std::unique_ptr<icu::SimpleDateFormat> icuFormat(const char* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                        icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
  format->adoptTimeZone(icu::TimeZone::getGMT()->clone());
  return format;
}

void isoParseOurs(benchmark::State& state) {
  const auto sample = texts(isoFormat);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(ZTimestampUtilities::timestampFromISO8601String(sample[turn.next()]));
  }
}

void rfcParseOurs(benchmark::State& state) {
  const auto sample = texts(rfcFormat);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(ZTimestampUtilities::timestampFromRFC1123String(sample[turn.next()]));
  }
}

void parseIcu(benchmark::State& state, const char* format, const char* pattern) {
  const auto sample = texts(format);
  std::array<icu::UnicodeString, sampleCount> unicode;
  for (std::size_t i = 0; i < sampleCount; ++i)
    unicode[i] = icu::UnicodeString::fromUTF8(sample[i]);
  const auto icu = icuFormat(pattern);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    benchmark::DoNotOptimize(icu->parse(unicode[turn.next()], status));
  }
}

void parseAbseil(benchmark::State& state, const char* format) {
  const auto sample = texts(format);
  Turn turn;
  absl::Time instant;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(absl::ParseTime(format, sample[turn.next()], &instant, nullptr));
    benchmark::DoNotOptimize(instant);
  }
}

void parseLibc(benchmark::State& state, const char* format) {
  const auto sample = texts(format);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    std::tm fields{};
    benchmark::DoNotOptimize(strptime(sample[turn.next()].c_str(), format, &fields));
    benchmark::DoNotOptimize(timegm(&fields));
  }
}

void isoPrintOurs(benchmark::State& state) {
  const auto instants = scatteredInstants();
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const auto instant = Timestamp::fromUnixSeconds(static_cast<double>(instants[turn.next()]));
    benchmark::DoNotOptimize(ZTimestampUtilities::ISO8601StringFromTimestamp(instant));
  }
}

void isoPrintIcu(benchmark::State& state) {
  const auto instants = scatteredInstants();
  const auto icu = icuFormat(isoPattern);
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    icu::UnicodeString text;
    benchmark::DoNotOptimize(
        icu->format(static_cast<double>(instants[turn.next()]) * 1000.0, text));
  }
}

void isoPrintAbseil(benchmark::State& state) {
  const auto instants = scatteredInstants();
  const auto utc = absl::UTCTimeZone();
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const auto instant = absl::FromUnixSeconds(instants[turn.next()]);
    benchmark::DoNotOptimize(absl::FormatTime(isoFormat, instant, utc));
  }
}

void isoPrintLibc(benchmark::State& state) {
  const auto instants = scatteredInstants();
  Turn turn;
  for ([[maybe_unused]] auto _ : state) {
    const std::time_t instant = instants[turn.next()];
    std::tm fields{};
    gmtime_r(&instant, &fields);
    std::array<char, 32> text{};
    benchmark::DoNotOptimize(std::strftime(text.data(), text.size(), isoFormat, &fields));
    benchmark::DoNotOptimize(text);
  }
}

BENCHMARK(isoParseOurs)->Name("ISO 8601 parse/ours");
BENCHMARK_CAPTURE(parseIcu, , isoFormat, isoPattern)->Name("ISO 8601 parse/ICU");
BENCHMARK_CAPTURE(parseAbseil, , isoFormat)->Name("ISO 8601 parse/Abseil");
BENCHMARK_CAPTURE(parseLibc, , isoFormat)->Name("ISO 8601 parse/libc");
BENCHMARK(isoPrintOurs)->Name("ISO 8601 print/ours");
BENCHMARK(isoPrintIcu)->Name("ISO 8601 print/ICU");
BENCHMARK(isoPrintAbseil)->Name("ISO 8601 print/Abseil");
BENCHMARK(isoPrintLibc)->Name("ISO 8601 print/libc");
BENCHMARK(rfcParseOurs)->Name("RFC 1123 parse/ours");
BENCHMARK_CAPTURE(parseIcu, , rfcFormat, rfcPattern)->Name("RFC 1123 parse/ICU");
BENCHMARK_CAPTURE(parseAbseil, , rfcFormat)->Name("RFC 1123 parse/Abseil");
BENCHMARK_CAPTURE(parseLibc, , rfcFormat)->Name("RFC 1123 parse/libc");

}  // namespace
}  // namespace ztp::bench
