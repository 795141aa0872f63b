// Asks the library one question of each kind and fails when an answer is wrong.
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::exit(1);
}

}  // namespace

int main() {
  using ztp::ZDateUtilities;
  using ztp::ZTimestampUtilities;
  const std::optional<ztp::Date> date = ZDateUtilities::dateFromISO8601String("2019-03-10");
  require(ZDateUtilities::ISO8601StringFromDate(date) == "2019-03-10", "a date's text");
  require(!ZDateUtilities::isNYSEHoliday(date), "a holiday");
  const std::optional<ztp::Timestamp> midnight = ZTimestampUtilities::timestampAtMidnightOnDate(
      date, ztp::TimeZone::named("America/New_York"));
  require(ZTimestampUtilities::ISO8601StringFromTimestamp(midnight) == "2019-03-10T05:00:00Z",
          "midnight in a zone");
  std::puts("consumer: all answers are right");
  return 0;
}
