// The calls into ICU behind IcuCalendar.h. Every ICU error is an exception: a second opinion that
// fails quietly would agree with anything.
#include "tests/unit/calendar/sweeps/IcuCalendar.h"

#include <unicode/basictz.h>
#include <unicode/gregocal.h>
#include <unicode/tztrans.h>

#include <cmath>
#include <stdexcept>

namespace ztp::test {
namespace {

void check(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

std::unique_ptr<icu::TimeZone> zoneNamed(const std::string& name) {
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  if (*zone == icu::TimeZone::getUnknown()) throw std::runtime_error("ICU has no zone " + name);
  return zone;
}

const icu::Locale& fixedEnglish() {
  static const icu::Locale locale("en_US_POSIX");
  return locale;
}

std::unique_ptr<icu::Calendar> calendarIn(const std::string& zone) {
  UErrorCode status = U_ZERO_ERROR;
  auto calendar =
      std::make_unique<icu::GregorianCalendar>(zoneNamed(zone).release(), fixedEnglish(), status);
  check(status);
  calendar->setFirstDayOfWeek(UCAL_SUNDAY);
  calendar->setMinimalDaysInFirstWeek(1);
  calendar->setSkippedWallTimeOption(UCAL_WALLTIME_LAST);
  calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  return calendar;
}

// ICU counts whole milliseconds; a product that falls short of one must not become the one before.
UDate milliseconds(double seconds) {
  return std::round(seconds * 1000.0);
}

}  // namespace

IcuCalendar::IcuCalendar(const std::string& zone) : calendar_(calendarIn(zone)) {}

IcuFields IcuCalendar::fieldsAt(double instant) {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(milliseconds(instant), status);
  const auto field = [&](UCalendarDateFields which) { return calendar_->get(which, status); };
  const IcuFields fields{field(UCAL_YEAR),
                         field(UCAL_MONTH) + 1,
                         field(UCAL_DATE),
                         field(UCAL_HOUR_OF_DAY),
                         field(UCAL_MINUTE),
                         field(UCAL_SECOND),
                         field(UCAL_DAY_OF_WEEK),
                         field(UCAL_DAY_OF_YEAR),
                         field(UCAL_WEEK_OF_YEAR),
                         field(UCAL_WEEK_OF_MONTH),
                         field(UCAL_DAY_OF_WEEK_IN_MONTH)};
  check(status);
  return fields;
}

double IcuCalendar::instantOf(int year, int month, int day, int hour, int minute, int second) {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->clear();
  calendar_->set(year, month - 1, day, hour, minute, second);
  const double instant = calendar_->getTime(status) / 1000.0;
  check(status);
  return instant;
}

double IcuCalendar::add(double instant, UCalendarDateFields field, int count) {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(milliseconds(instant), status);
  calendar_->add(field, count, status);
  const double result = calendar_->getTime(status) / 1000.0;
  check(status);
  return result;
}

int IcuCalendar::daysBetween(double from, double to) {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(milliseconds(from), status);
  const int days = calendar_->fieldDifference(milliseconds(to), UCAL_DATE, status);
  check(status);
  return days;
}

std::vector<double> IcuCalendar::changesBetween(double from, double until) const {
  const auto& zone = dynamic_cast<const icu::BasicTimeZone&>(calendar_->getTimeZone());
  std::vector<double> changes;
  icu::TimeZoneTransition next;
  double after = from * 1000.0 - 1.0;
  while (zone.getNextTransition(after, false, next) != 0 && next.getTime() < until * 1000.0) {
    changes.push_back(next.getTime() / 1000.0);
    after = next.getTime();
  }
  return changes;
}

IcuFormatter::IcuFormatter(const std::string& pattern, const std::string& zone) {
  UErrorCode status = U_ZERO_ERROR;
  format_ = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                    fixedEnglish(), status);
  check(status);
  format_->adoptCalendar(calendarIn(zone).release());
  format_->setLenient(false);
  for (const auto attribute :
       {UDAT_PARSE_ALLOW_WHITESPACE, UDAT_PARSE_ALLOW_NUMERIC, UDAT_PARSE_PARTIAL_LITERAL_MATCH,
        UDAT_PARSE_MULTIPLE_PATTERNS_FOR_MATCH}) {
    format_->setBooleanAttribute(attribute, false, status);
  }
  check(status);
}

std::string IcuFormatter::format(double instant) {
  icu::UnicodeString text;
  format_->format(milliseconds(instant), text);
  std::string result;
  return text.toUTF8String(result);
}

std::optional<double> IcuFormatter::parse(const std::string& text) {
  const auto unicode = icu::UnicodeString::fromUTF8(text);
  icu::ParsePosition position(0);
  const UDate instant = format_->parse(unicode, position);
  if (position.getErrorIndex() != -1 || position.getIndex() != unicode.length()) return {};
  return instant / 1000.0;
}

}  // namespace ztp::test
