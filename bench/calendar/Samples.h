// The inputs that all benchmarks of the calendar share: the same random instants on every run, so
// that the library and its peers do the same work. Names of benchmarks are "what/who".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>

namespace ztp::bench {

inline constexpr std::size_t sampleCount = 1024;

/// Whole seconds since 1970-01-01 00:00:00 UTC.
using Instants = std::array<std::int64_t, sampleCount>;

/// Random instants in [first, last).
inline Instants randomInstants(std::int64_t first, std::int64_t last) {
  std::mt19937_64 random(20190315);
  Instants instants{};
  for (auto& instant : instants) {
    instant =
        first + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(last - first));
  }
  return instants;
}

/// Instants anywhere from 1970 to 2036: zone lookups have to search for each.
inline Instants scatteredInstants() {
  return randomInstants(0, 2'082'758'400);
}

/// Instants of June 2019: what the last lookup found still holds.
inline Instants nearbyInstants() {
  return randomInstants(1'559'347'200, 1'561'939'200);
}

/// Days since 1970-01-01 of the years 1990 to 2030, in no order.
inline Instants randomDays() {
  return randomInstants(7'305, 22'280);
}

/// Noon UTC of a day since 1970-01-01, in seconds.
inline double noonOf(std::int64_t day) {
  return static_cast<double>(day) * 86400.0 + 43200.0;
}

/// Hands out the samples one after the other, over and over.
class Turn {
 public:
  std::size_t next() { return at_++ % sampleCount; }

 private:
  std::size_t at_ = 0;
};

}  // namespace ztp::bench
