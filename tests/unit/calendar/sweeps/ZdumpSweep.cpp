// Zone offsets against the system's own zdump, which reads the same zone files with other code: at
// every change of ten zones from 1970 to 2030, and at every hour in between.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"
#include "tests/unit/calendar/sweeps/SweepZones.h"

namespace ztp::test {
namespace {

// One line of zdump: an instant just before or at a change, and the offset that then holds.
struct Observation {
  std::chrono::sys_seconds instant;
  int secondsFromGMT;
};

// The text that `zdump -V` prints for the years 1970 to 2030.
std::string zdumpText(const std::string& zone) {
  struct Close {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
  };
  const std::string command = "zdump -V -c 1970,2031 " + zone;
  const std::unique_ptr<std::FILE, Close> pipe(popen(command.c_str(), "r"));
  if (!pipe) throw std::runtime_error("zdump cannot be started");
  std::string text;
  std::array<char, 4096> buffer{};
  while (const auto count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
    text.append(buffer.data(), count);
  }
  return text;
}

std::chrono::month monthNamed(std::string_view name) {
  constexpr std::string_view names = "JanFebMarAprMayJunJulAugSepOctNovDec";
  return std::chrono::month{static_cast<unsigned>(names.find(name) / 3 + 1)};
}

// Reads "Zone  Sun Apr 26 06:59:59 1970 UT = Sun Apr 26 01:59:59 1970 EST isdst=0 gmtoff=-18000".
Observation observationFrom(const std::string& line) {
  std::istringstream words(line);
  std::string zone, weekday, month;
  int day = 0, hour = 0, minute = 0, second = 0, year = 0;
  char colon = 0;
  words >> zone >> weekday >> month >> day >> hour >> colon >> minute >> colon >> second >> year;
  const auto offset = line.find("gmtoff=");
  if (!words || offset == std::string::npos) throw std::runtime_error("not of zdump: " + line);
  const std::chrono::sys_days date = std::chrono::year{year} / monthNamed(month) / day;
  return {
      date + std::chrono::hours{hour} + std::chrono::minutes{minute} + std::chrono::seconds{second},
      std::stoi(line.substr(offset + 7))};
}

std::vector<Observation> observationsOf(const std::string& zone) {
  std::istringstream lines(zdumpText(zone));
  std::vector<Observation> observations;
  for (std::string line; std::getline(lines, line);) observations.push_back(observationFrom(line));
  return observations;
}

class ZdumpSweep : public testing::TestWithParam<const char*> {
 protected:
  void compare(std::chrono::sys_seconds instant, int expected) {
    const auto seconds = static_cast<double>(instant.time_since_epoch().count());
    const int ours = zone_.secondsFromGMT(Timestamp::fromUnixSeconds(seconds));
    found_.compare(ours == expected, [&] {
      std::ostringstream out;
      out << std::fixed << seconds << ": " << ours << ", zdump " << expected;
      return out.str();
    });
  }

  TimeZone zone_ = TimeZone::named(GetParam()).value();
  Disagreements found_;
};

TEST_P(ZdumpSweep, offsetsChangeAtTheSecondThatZdumpNames) {
  const auto observations = observationsOf(GetParam());
  for (const auto& seen : observations) compare(seen.instant, seen.secondsFromGMT);
  EXPECT_TRUE(found_.noneAmong(2));
}

TEST_P(ZdumpSweep, offsetsHoldAtEveryHourBetweenTheChanges) {
  using std::chrono::hours;
  const auto observations = observationsOf(GetParam());
  ASSERT_EQ(observations.size() % 2, 0U) << "a line before and a line at every change";
  const std::chrono::sys_days first = std::chrono::year{1970} / 1 / 1;
  const std::chrono::sys_days last = std::chrono::year{2031} / 1 / 1;
  auto hour = std::chrono::sys_seconds{first};
  for (std::size_t change = 0; change < observations.size(); change += 2) {
    const auto& before = observations[change];
    for (; hour <= before.instant; hour += hours{1}) compare(hour, before.secondsFromGMT);
  }
  const auto& after = observations.back();
  for (; hour < last; hour += hours{1}) compare(hour, after.secondsFromGMT);
  EXPECT_TRUE(found_.noneAmong(534'000));
}

INSTANTIATE_TEST_SUITE_P(TenZones, ZdumpSweep, testing::ValuesIn(sweepZones),
                         [](const testing::TestParamInfo<const char*>& zone) {
                           std::string name = zone.param;
                           for (char& c : name) c = c == '/' ? '_' : c;
                           return name;
                         });

}  // namespace
}  // namespace ztp::test
