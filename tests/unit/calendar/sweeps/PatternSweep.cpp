// The pattern formatter against ICU's SimpleDateFormat with English names: the text of random
// instants in every pattern that the library uses, the instants of those texts, and what becomes of
// texts with one character wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>

#include "calendar/DateFormatter.h"
#include "calendar/TimeZone.h"
#include "calendar/Timestamp.h"
#include "tests/unit/calendar/sweeps/Disagreements.h"
#include "tests/unit/calendar/sweeps/IcuCalendar.h"

namespace ztp::test {
namespace {

// A pattern in a zone, and the unix seconds between which both sources know the zone alike.
struct PatternCase {
  const char* name;
  const char* pattern;
  const char* zone;
  double first;
  double last;
};

void PrintTo(const PatternCase& pattern, std::ostream* out) {
  *out << pattern.name;
}

constexpr double year1 = -62135769600, year9999 = 253402300799;
constexpr double year1970 = 0, year2021 = 1640995199;

constexpr PatternCase patternCases[] = {
    {"Iso8601", "yyyy-MM-dd'T'HH:mm:ss'Z'", "Etc/UTC", year1, year9999},
    {"Iso8601Milliseconds", "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "Etc/UTC", year1, year9999},
    {"Rfc1123", "EEE, dd MMM yyyy HH':'mm':'ss Z", "Etc/UTC", year1, year9999},
    {"Rfc1123InNewYork", "EEE, dd MMM yyyy HH':'mm':'ss Z", "America/New_York", year1970, year2021},
    {"Rfc1123InNepal", "EEE, dd MMM yyyy HH':'mm':'ss Z", "Asia/Kathmandu", year1970, year2021},
    {"EasternDisplay", "yyyy-MM-dd HH:mm:ss", "America/New_York", year1970, year2021},
    {"TestCase", "MM/dd/yyyy hh:mm:ssa", "Etc/UTC", year1, year9999},
    {"TestCaseInApia", "MM/dd/yyyy hh:mm:ssa", "Pacific/Apia", year1970, year2021},
    {"LongNames", "EEEE, MMMM dd, yyyy 'at' hh:mm a", "Europe/London", year1970, year2021},
    {"QuoteInText", "yyyy 'o''clock' HH ''", "Etc/UTC", year1, year9999},
};

constexpr int instantsTried = 20'000;

class PatternSweep : public testing::TestWithParam<PatternCase> {
 protected:
  // A random millisecond of the case's years; the same sequence on every run and machine.
  double anyInstant() {
    const auto first = static_cast<std::int64_t>(GetParam().first) * 1000;
    const auto span = static_cast<std::uint64_t>(GetParam().last - GetParam().first) * 1000U;
    return static_cast<double>(first + static_cast<std::int64_t>(random_() % span)) / 1000.0;
  }

  // The text with one character left out, put in twice, or replaced.
  std::string damaged(std::string text) {
    constexpr std::string_view others = "0159-+:/ ,.TZaPx'";
    const auto at = random_() % text.size();
    switch (random_() % 3) {
      case 0:
        return text.erase(at, 1);
      case 1:
        return text.insert(at, 1, others[random_() % others.size()]);
      default:
        text[at] = others[random_() % others.size()];
        return text;
    }
  }

  static std::string shown(const std::optional<double>& seconds) {
    return seconds ? std::to_string(*seconds) : "unreadable";
  }

  std::optional<double> ours(const std::string& text) const {
    const auto instant = formatter_.timestampFromString(text);
    if (!instant) return {};
    // To the millisecond, as ICU has it; ours is a binary fraction of a second from 2001.
    return std::round(instant->unixSeconds() * 1000.0) / 1000.0;
  }

  void compareReading(const std::string& text, std::optional<double> theirs) {
    const auto read = ours(text);
    found_.compare(read == theirs, [&] {
      return '"' + text + "\": ours " + shown(read) + ", ICU " + shown(theirs);
    });
  }

  std::mt19937_64 random_{20190315};
  DateFormatter formatter_{GetParam().pattern, TimeZone::named(GetParam().zone)};
  IcuFormatter icu_{GetParam().pattern, GetParam().zone};
  Disagreements found_;
};

TEST_P(PatternSweep, instantsPrintAsIcuPrintsThem) {
  ASSERT_TRUE(TimeZone::named(GetParam().zone));
  for (int i = 0; i < instantsTried; ++i) {
    const double instant = anyInstant();
    // Half a millisecond on keeps the binary fraction from falling below the millisecond meant.
    const auto printed =
        formatter_.stringFromTimestamp(Timestamp::fromUnixSeconds(instant + 0.0005));
    const auto theirs = icu_.format(instant);
    found_.compare(printed == theirs, [&] {
      return std::to_string(instant) + ": " + printed.value_or("none") + ", ICU " + theirs;
    });
  }
  EXPECT_TRUE(found_.noneAmong(instantsTried));
}

TEST_P(PatternSweep, whatIcuPrintsIsReadAsIcuReadsIt) {
  for (int i = 0; i < instantsTried; ++i) {
    const auto text = icu_.format(anyInstant());
    compareReading(text, icu_.parse(text));
  }
  EXPECT_TRUE(found_.noneAmong(instantsTried));
}

TEST_P(PatternSweep, whatIsReadPrintsTheSameAgain) {
  for (int i = 0; i < instantsTried; ++i) {
    const auto text = icu_.format(anyInstant());
    const auto again = formatter_.stringFromTimestamp(formatter_.timestampFromString(text));
    found_.compare(again == text, [&] { return text + ": " + again.value_or("unreadable"); });
  }
  EXPECT_TRUE(found_.noneAmong(instantsTried));
}

TEST_P(PatternSweep, aTextWithOneCharacterWrongIsRefusedOrReadAsIcuReadsIt) {
  for (int i = 0; i < instantsTried; ++i) {
    const auto text = damaged(icu_.format(anyInstant()));
    const auto read = ours(text);
    if (read) compareReading(text, icu_.parse(text));
  }
  EXPECT_TRUE(found_.noneAmong(instantsTried / 100));
}

INSTANTIATE_TEST_SUITE_P(Patterns, PatternSweep, testing::ValuesIn(patternCases),
                         [](const testing::TestParamInfo<PatternCase>& pattern) {
                           return std::string(pattern.param.name);
                         });

}  // namespace
}  // namespace ztp::test
