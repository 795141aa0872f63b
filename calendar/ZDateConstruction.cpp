// ZDateUtilities: well-known dates, the current day, validity, construction, coercion.
#include "calendar/ZDateUtilities.h"

#include <atomic>
#include <cmath>
#include <limits>

#include "calendar/ErrorLog.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp {

namespace {

// The platform's distant instants: 1 January of the year 1 and of the year 4001, at midnight UTC.
constexpr Timestamp distantPastInstant(-63'114'076'800.0);
constexpr Timestamp distantFutureInstant(63'113'904'000.0);

// A date that all threads see, or none.
class SharedDate {
 public:
  [[nodiscard]] std::optional<Date> get() const {
    const double seconds = seconds_.load(std::memory_order_relaxed);
    return std::isnan(seconds) ? std::nullopt : std::optional(Date(seconds));
  }
  void set(std::optional<Date> date) {
    seconds_.store(date ? date->secondsSinceReference() : none, std::memory_order_relaxed);
  }

 private:
  static constexpr double none = std::numeric_limits<double>::quiet_NaN();
  std::atomic<double> seconds_ = none;
};

constinit SharedDate cachedCurrentDate;
constinit SharedDate currentDateOverride;

std::string describe(std::optional<Timestamp> object) {
  if (!object) return "(null)";
  const DateFormatter plain("yyyy-MM-dd HH:mm:ss Z", TimeZone::utc());
  return plain.stringFromTimestamp(object).value_or(
      std::to_string(object->secondsSinceReference()) + " s since 2001");
}

}  // namespace

TimeZone ZDateUtilities::dateTimeZone() {
  return TimeZone::utc();
}

Calendar ZDateUtilities::_dateCalendar() {
  static const Calendar calendar(dateTimeZone());
  return calendar;
}

Date ZDateUtilities::distantPast() {
  static const Date date = dateWithTimestamp(distantPastInstant, dateTimeZone()).value();
  return date;
}

Date ZDateUtilities::distantFuture() {
  static const Date date = dateWithTimestamp(distantFutureInstant, dateTimeZone()).value();
  return date;
}

Date ZDateUtilities::currentDate() {
  if (const std::optional<Date> override = currentDateOverride.get()) return *override;
  std::optional<Date> date = cachedCurrentDate.get();
  if (!date) {
    // Threads that come here together compute the same day or its neighbour; the last one stays.
    date = dateWithTimestamp(Timestamp::now(), std::nullopt);
    cachedCurrentDate.set(date);
  }
  return date.value();
}

Date ZDateUtilities::refreshCurrentDate() {
  cachedCurrentDate.set(std::nullopt);
  return currentDate();
}

void ZDateUtilities::setCurrentDateOverride(std::optional<Date> date) {
  currentDateOverride.set(date);
}

std::optional<Date> ZDateUtilities::yesterday() {
  return dateByAddingDays(-1, currentDate());
}

std::optional<Date> ZDateUtilities::tomorrow() {
  return dateByAddingDays(1, currentDate());
}

bool ZDateUtilities::isValidYear(std::int64_t year) {
  return year > 0;
}

bool ZDateUtilities::isValidMonth(std::int64_t month) {
  return month >= 1 && month <= 12;
}

bool ZDateUtilities::isValidDay(std::int64_t day, std::int64_t forMonth, std::int64_t year) {
  if (!isValidYear(year) || !isValidMonth(forMonth) || day < 1 || day > 31) return false;
  const std::optional<Date> first = dateWithYear(year, forMonth, 1);
  return first && day <= dayOfMonthForDate(lastDayOfMonthContainingDate(first));
}

bool ZDateUtilities::isObjectValidDate(std::optional<Timestamp> object) {
  if (!object) return false;
  // Within the calendar the integers say it faster; fmod is right for any double.
  if (const std::optional<std::int64_t> seconds = wholeSeconds(*object)) {
    return splitSeconds(*seconds).second == noonSecond &&
           static_cast<double>(*seconds) == object->secondsSinceReference();
  }
  return std::abs(std::fmod(object->secondsSinceReference(), static_cast<double>(secondsPerDay))) ==
         static_cast<double>(noonSecond);
}

std::optional<Date> ZDateUtilities::dateWithTimestamp(std::optional<Timestamp> timestamp,
                                                      std::optional<TimeZone> timeZone) {
  const std::optional<DateComponents> fields =
      ZTimestampUtilities::componentsForTimestamp(timestamp, timeZone);
  if (!fields) return std::nullopt;
  return dateWithYear(fields->year, fields->month, fields->day);
}

std::optional<Date> ZDateUtilities::dateFromString(std::string_view string,
                                                   const DateFormatter& formatter) {
  return dateWithTimestamp(formatter.timestampFromString(string), formatter.timeZone());
}

std::optional<Date> ZDateUtilities::_dateByCoercingObjectToValidDate(
    std::optional<Timestamp> object) {
  if (isObjectValidDate(object)) return object;
  logErrorLine("ERROR: Timestamp is not a valid date: " + describe(object));
  return dateWithTimestamp(object, std::nullopt);
}

}  // namespace ztp
