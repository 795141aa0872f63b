// The calendar is the C library's.
#include "archiver/DosTime.h"

#include <algorithm>
#include <ctime>

namespace ztp::archiver {

namespace {

constexpr int firstYear = 80;  // as the C library counts, from 1900
constexpr int lastYear = firstYear + 127;

// Beyond these the C library need not be asked: they lie outside the years in any zone.
constexpr std::int64_t earliest = 0;
constexpr std::int64_t latest = 4'400'000'000;

constexpr DosTime firstTime = {0, 1U << 5U | 1U};
constexpr DosTime lastTime = {23U << 11U | 59U << 5U | 29U, 127U << 9U | 12U << 5U | 31U};

std::uint16_t joined(int high, unsigned highShift, int middle, int low) {
  return static_cast<std::uint16_t>(static_cast<unsigned>(high) << highShift |
                                    static_cast<unsigned>(middle) << 5U |
                                    static_cast<unsigned>(low));
}

}  // namespace

DosTime toDosTime(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(std::clamp(seconds, earliest, latest));
  std::tm local{};
  if (::localtime_r(&time, &local) == nullptr || local.tm_year < firstYear) return firstTime;
  if (local.tm_year > lastYear) return lastTime;
  return {joined(local.tm_hour, 11, local.tm_min, std::min(local.tm_sec, 59) / 2),
          joined(local.tm_year - firstYear, 9, local.tm_mon + 1, local.tm_mday)};
}

std::int64_t fromDosTime(DosTime time) {
  std::tm local{};
  local.tm_sec = (time.time & 31) * 2;
  local.tm_min = time.time >> 5 & 63;
  local.tm_hour = time.time >> 11;
  local.tm_mday = time.date & 31;
  local.tm_mon = (time.date >> 5 & 15) - 1;
  local.tm_year = (time.date >> 9) + firstYear;
  local.tm_isdst = -1;
  return std::mktime(&local);
}

}  // namespace ztp::archiver
