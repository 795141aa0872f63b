// ZTimestampUtilities: calendars, formatters and zones put together as callers ask for instants.
#include "calendar/ZTimestampUtilities.h"

#include <stdexcept>

#include "calendar/CivilDate.h"
#include "calendar/FixedFormats.h"
#include "calendar/ParameterAssertion.h"
#include "calendar/ThreadDictionary.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZDateUtilities.h"

namespace ztp {

namespace {

struct FixedFormatter {
  std::string_view suffix;
  std::string_view pattern;
};

constexpr FixedFormatter iso8601{"ISO8601DateFormatter", "yyyy-MM-dd'T'HH:mm:ss'Z'"};
constexpr FixedFormatter rfc1123{"RCF1123DateFormatter", "EEE, dd MMM yyyy HH':'mm':'ss Z"};
constexpr FixedFormatter iso8601WithMilliseconds{"ISO8601WithMillisecondsDateFormatter",
                                                 "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"};

const DateFormatter& formatterInDictionary(const FixedFormatter& kind,
                                           std::string_view receivingClass) {
  std::string key(receivingClass);
  key += ':';
  key += kind.suffix;
  return ThreadDictionary::current().findOrMake(
      key, [&kind] { return DateFormatter(kind.pattern, TimeZone::utc()); });
}

// The same, with the place of this class's own formatter remembered by the calling thread: the
// dictionary never moves an entry.
const DateFormatter& threadLocalFormatter(const FixedFormatter& kind,
                                          std::string_view receivingClass,
                                          const DateFormatter*& own) {
  if (receivingClass != ZTimestampUtilities::className) {
    return formatterInDictionary(kind, receivingClass);
  }
  if (!own) own = &formatterInDictionary(kind, receivingClass);
  return *own;
}

Calendar currentCalendarIn(std::optional<TimeZone> timeZone) {
  if (timeZone) return Calendar(*timeZone);
  return ZTimestampUtilities::_currentCalendar();
}

}  // namespace

TimeZone ZTimestampUtilities::currentTimeZone() {
  return TimeZone::local();
}

TimeZone ZTimestampUtilities::estTimeZone() {
  static const TimeZone eastern = [] {
    const std::optional<TimeZone> zone = TimeZone::named("America/New_York");
    if (!zone) throw std::runtime_error("The system has no time zone America/New_York");
    return *zone;
  }();
  return eastern;
}

std::optional<Timestamp> ZTimestampUtilities::timestampWithDate(std::optional<Date> date,
                                                                std::optional<TimeZone> timeZone,
                                                                std::int64_t hour,
                                                                std::int64_t minute,
                                                                std::int64_t second) {
  const std::optional<CivilDate> day = ZDateUtilities::componentsFromDate(date);
  if (!day) return std::nullopt;
  return currentCalendarIn(timeZone).timestampFromComponents(
      {day->year, day->month, day->day, hour, minute, second, timeZone});
}

std::optional<Timestamp> ZTimestampUtilities::timestampAtMidnightOnDate(
    std::optional<Date> date, std::optional<TimeZone> timeZone) {
  return timestampWithDate(date, timeZone, 0, 0, 0);
}

std::optional<Timestamp> ZTimestampUtilities::timestampAtNoonOnDate(
    std::optional<Date> date, std::optional<TimeZone> timeZone) {
  return timestampWithDate(date, timeZone, 12, 0, 0);
}

// The two common cases go straight to the form that the thread's formatter would use for them.

std::optional<Timestamp> ZTimestampUtilities::timestampFromISO8601String(std::string_view string) {
  const DateFormatter& formatter = _threadLocalISO8601GMTDateFormatter();
  if (const std::optional<ParsedTime> time = readISO8601(string)) {
    return Timestamp(static_cast<double>(time->seconds));
  }
  const std::optional<Timestamp> whole = formatter.timestampFromString(string);
  if (whole || string.find('.') == std::string_view::npos) return whole;
  return _threadLocalISO8601WithMillisecondsGMTDateFormatter().timestampFromString(string);
}

std::optional<std::string> ZTimestampUtilities::ISO8601StringFromTimestamp(
    std::optional<Timestamp> timestamp) {
  constexpr std::int64_t first = firstCalendarDay * secondsPerDay;
  const DateFormatter& formatter = _threadLocalISO8601GMTDateFormatter();
  const std::optional<std::int64_t> seconds = timestamp ? wholeSeconds(*timestamp) : std::nullopt;
  if (seconds && *seconds >= first && isOfFourDigitYear({*seconds, 0, 0})) {
    return printISO8601({*seconds, 0, 0});
  }
  return formatter.stringFromTimestamp(timestamp);
}

std::optional<Timestamp> ZTimestampUtilities::timestampFromRFC1123String(std::string_view string) {
  return _threadLocalRCF1123GMTDateFormatter().timestampFromString(string);
}

std::optional<std::string> ZTimestampUtilities::ISO8601ESTStringFromTimestamp(
    std::optional<Timestamp> timestamp) {
  return DateFormatter("yyyy-MM-dd HH:mm:ss", estTimeZone()).stringFromTimestamp(timestamp);
}

std::optional<Timestamp> ZTimestampUtilities::timestampFromZanburyTestCaseString(
    std::string_view string) {
  return DateFormatter("MM/dd/yyyy hh:mm:ssa").timestampFromString(string);
}

std::optional<DateComponents> ZTimestampUtilities::componentsForTimestamp(
    std::optional<Timestamp> timestamp, std::optional<TimeZone> timeZone) {
  if (!timestamp) return std::nullopt;
  if (timeZone) return Calendar::componentsFromTimestamp(*timestamp, *timeZone);
  return _currentCalendar().componentsFromTimestamp(*timestamp);
}

std::int64_t ZTimestampUtilities::numberOfDaysFromTimestamp(std::optional<Timestamp> start,
                                                            std::optional<Timestamp> end) {
  if (!start) {
    // The condition names the start twice: the end is not a parameter that has to be there.
    throw ParameterAssertion(className, 206, "inStartTimestamp != nil && inStartTimestamp != nil");
  }
  return end ? _currentCalendar().numberOfDays(*start, *end) : 0;
}

std::optional<Timestamp> ZTimestampUtilities::timestampByAddingDays(
    std::int64_t days, std::optional<Timestamp> timestamp) {
  if (!timestamp) return std::nullopt;
  return _currentCalendar().timestampByAddingDays(days, *timestamp);
}

Calendar ZTimestampUtilities::_currentCalendar() {
  return Calendar::autoupdatingCurrent();
}

const DateFormatter& ZTimestampUtilities::_threadLocalISO8601GMTDateFormatter(
    std::string_view receivingClass) {
  thread_local const DateFormatter* own = nullptr;
  return threadLocalFormatter(iso8601, receivingClass, own);
}

const DateFormatter& ZTimestampUtilities::_threadLocalRCF1123GMTDateFormatter(
    std::string_view receivingClass) {
  thread_local const DateFormatter* own = nullptr;
  return threadLocalFormatter(rfc1123, receivingClass, own);
}

const DateFormatter& ZTimestampUtilities::_threadLocalISO8601WithMillisecondsGMTDateFormatter(
    std::string_view receivingClass) {
  thread_local const DateFormatter* own = nullptr;
  return threadLocalFormatter(iso8601WithMilliseconds, receivingClass, own);
}

}  // namespace ztp
