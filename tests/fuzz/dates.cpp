// Fuzzes the date and timestamp strings: what is read can be written, and reads the same again.
#include <stdexcept>
#include <string>
#include <string_view>

#include "calendar/BusinessCalendar.h"
#include "calendar/Chrono.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"
#include "tests/fuzz/Fuzzing.h"

namespace {

constexpr auto preceding = ztp::BusinessDayConvention::preceding;

void readOfx(const std::string& text) {
  try {
    static_cast<void>(ztp::ZDateUtilities::dateFromOFXString(text));
    static_cast<void>(ztp::ZDateUtilities::timeZoneOffsetFromOFXTimeString(text));
  } catch (const std::out_of_range&) {
    // A zone part that cannot be cut out: that is how it is said.
  }
}

// What holds of every date there is, business days included.
void mustHoldOfDate(ztp::Date date) {
  using namespace ztp;
  const auto days = sysDaysFromDate(date);
  mustHold(days && dateFromSysDays(*days) == date);
  static const auto calendar = BusinessCalendar::market(ZHolidayType::ZHolidayTypeTSE);
  const auto next = calendar.advance(date, 1);
  mustHold(!next || (*next > date && calendar.isBusinessDay(*next)));
  mustHold(!next || calendar.advance(*next, -1) == calendar.adjust(date, preceding));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const std::string text(bytes, bytes + size);
  readOfx(text);
  static_cast<void>(ZDateUtilities::dateFromMonthDayYearString(text));
  static_cast<void>(ZTimestampUtilities::timestampFromRFC1123String(text));
  if (const auto date = ZDateUtilities::dateFromISO8601String(text)) {
    mustHoldOfDate(*date);
    const auto written = ZDateUtilities::ISO8601StringFromDate(date);
    // Fields may roll over into a year of five digits, which no longer fits the form.
    mustHold(written && (written->size() > std::string_view("9999-12-31").size() ||
                         ZDateUtilities::dateFromISO8601String(*written) == date));
  }
  if (const auto timestamp = ZTimestampUtilities::timestampFromISO8601String(text)) {
    const auto written = ZTimestampUtilities::ISO8601StringFromTimestamp(timestamp);
    mustHold(written && ZTimestampUtilities::timestampFromISO8601String(*written) == timestamp);
  }
  return 0;
}
