// PatternReader: strict reading by fields. Every field takes its characters off the front of what
// is left, or the whole text is refused.
#include <array>
#include <cstdint>

#include "calendar/CivilDate.h"
#include "calendar/EnglishNames.h"
#include "calendar/PatternText.h"
#include "calendar/Timestamp.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

enum class HalfOfDay { none, am, pm };

// The fields as read; what a pattern lacks is that of 2000-01-01 00:00:00.
struct ReadFields {
  CivilDate date{2000, 1, 1};
  std::optional<std::int32_t> hour;        // H
  std::optional<std::int32_t> hourOfHalf;  // h
  HalfOfDay half = HalfOfDay::none;
  std::int32_t minute = 0;
  std::int32_t second = 0;
  double fraction = 0.0;
  std::optional<std::int32_t> secondsFromGMT;
};

std::optional<std::int32_t> takeDigits(std::string_view& text, int fewest, int most) {
  std::int32_t value = 0;
  int count = 0;
  while (count < most && !text.empty() && text.front() >= '0' && text.front() <= '9') {
    value = 10 * value + (text.front() - '0');
    text.remove_prefix(1);
    ++count;
  }
  if (count < fewest) return std::nullopt;
  return value;
}

// A field of one letter takes up to `most` digits, a longer one its width; [lowest:highest].
bool takeNumber(std::string_view& text, int width, int most, std::int32_t lowest,
                std::int32_t highest, std::int32_t& number) {
  const std::optional<std::int32_t> value =
      width == 1 ? takeDigits(text, 1, most) : takeDigits(text, width, width);
  if (!value || *value < lowest || *value > highest) return false;
  number = *value;
  return true;
}

bool takeText(std::string_view& text, std::string_view wanted) {
  if (!equalIgnoringCase(text.substr(0, wanted.size()), wanted)) return false;
  text.remove_prefix(wanted.size());
  return true;
}

enum class NameForm { abbreviated, full };

// 1 for the first of the names; absent when none stands at the front.
std::optional<std::int32_t> takeName(std::string_view& text,
                                     std::span<const std::string_view> names, NameForm form) {
  std::int32_t number = 0;
  for (const std::string_view name : names) {
    ++number;
    const std::size_t length = form == NameForm::full ? name.size() : abbreviationLength;
    if (takeText(text, name.substr(0, length))) return number;
  }
  return std::nullopt;
}

// The year from 80 before the present one to 19 after it that ends with the two digits.
std::int32_t yearNearNow(std::int32_t lastTwoDigits) {
  const DayNumber today = dayOfTimestamp(Timestamp::now()).value_or(0);
  const std::int32_t earliest = civilDateFromDayNumber(today).year - 80;
  const std::int32_t inCentury = earliest - earliest % 100 + lastTwoDigits;
  return inCentury < earliest ? inCentury + 100 : inCentury;
}

bool takeYear(std::string_view& text, int width, CivilDate& date) {
  constexpr int mostDigits = 7;
  if (!takeNumber(text, width, mostDigits, 0, INT32_MAX, date.year)) return false;
  if (width == 2) date.year = yearNearNow(date.year);
  return true;
}

bool takeMonth(std::string_view& text, int width, CivilDate& date) {
  if (width < 3) return takeNumber(text, width, 2, 1, 12, date.month);
  const auto month =
      takeName(text, monthNames, width == 3 ? NameForm::abbreviated : NameForm::full);
  if (month) date.month = *month;
  return month.has_value();
}

bool takeHour(std::string_view& text, const PatternField& field, ReadFields& fields) {
  std::int32_t hour = 0;
  const bool ofHalf = field.letter == 'h';
  if (!takeNumber(text, field.width, 2, ofHalf ? 1 : 0, ofHalf ? 12 : 23, hour)) return false;
  (ofHalf ? fields.hourOfHalf : fields.hour) = hour;
  return true;
}

bool takeFraction(std::string_view& text, int width, double& fraction) {
  const std::optional<std::int32_t> digits = takeDigits(text, width, width);
  if (!digits) return false;
  std::int32_t whole = 1;
  for (int digit = 0; digit < width; ++digit) whole *= 10;
  fraction = static_cast<double>(*digits) / whole;
  return true;
}

bool takeHalfOfDay(std::string_view& text, HalfOfDay& half) {
  if (takeText(text, "AM")) {
    half = HalfOfDay::am;
    return true;
  }
  half = HalfOfDay::pm;
  return takeText(text, "PM");
}

// "+hhmm", or "+hh:mm" with the separator.
bool takeSignedOffset(std::string_view& text, std::string_view separator, std::int32_t& offset) {
  const bool west = text.starts_with('-');
  if (!west && !text.starts_with('+')) return false;
  text.remove_prefix(1);
  std::int32_t hours = 0;
  std::int32_t minutes = 0;
  if (!takeNumber(text, 2, 2, 0, 23, hours) || !takeText(text, separator) ||
      !takeNumber(text, 2, 2, 0, 59, minutes)) {
    return false;
  }
  offset = (west ? -1 : 1) * (hours * 3600 + minutes * 60);
  return true;
}

bool takeOffset(std::string_view& text, int width, std::optional<std::int32_t>& secondsFromGMT) {
  std::int32_t offset = 0;
  bool taken = false;
  if (width < 4) {
    taken = takeText(text, "GMT") || takeSignedOffset(text, "", offset);
  } else if (width == 4) {
    taken = takeText(text, "GMT");
    if (text.starts_with('+') || text.starts_with('-')) {
      taken = taken && takeSignedOffset(text, ":", offset);
    }
  } else {
    taken = takeText(text, "Z") || takeSignedOffset(text, ":", offset);
  }
  if (taken) secondsFromGMT = offset;
  return taken;
}

bool takeField(std::string_view& text, const PatternField& field, ReadFields& fields) {
  const int width = field.width;
  switch (field.letter) {
    case 'y':
      return takeYear(text, width, fields.date);
    case 'M':
      return takeMonth(text, width, fields.date);
    case 'd':
      return takeNumber(text, width, 2, 1, 31, fields.date.day);
    case 'E':
      return takeName(text, weekdayNames, width < 4 ? NameForm::abbreviated : NameForm::full)
          .has_value();
    case 'H':
    case 'h':
      return takeHour(text, field, fields);
    case 'm':
      return takeNumber(text, width, 2, 0, 59, fields.minute);
    case 's':
      return takeNumber(text, width, 2, 0, 59, fields.second);
    case 'S':
      return takeFraction(text, width, fields.fraction);
    case 'a':
      return takeHalfOfDay(text, fields.half);
    case 'Z':
      return takeOffset(text, width, fields.secondsFromGMT);
    default: {
      const bool stands = text.starts_with(field.literal);
      if (stands) text.remove_prefix(field.literal.size());
      return stands;
    }
  }
}

std::int32_t hourOf(const ReadFields& fields) {
  if (fields.hour) return *fields.hour;
  const std::int32_t afternoon = fields.half == HalfOfDay::pm ? 12 : 0;
  return fields.hourOfHalf.value_or(0) % 12 + afternoon;
}

}  // namespace

std::optional<ParsedTime> readByFields(std::span<const PatternField> fields,
                                       std::string_view text) {
  ReadFields read;
  for (const PatternField& field : fields) {
    if (!takeField(text, field, read)) return std::nullopt;
  }
  if (!text.empty() || !isExistingDay(read.date)) return std::nullopt;
  const std::int64_t day = dayNumberFromCivilDate(read.date);
  const std::int32_t time = hourOf(read) * 3600 + read.minute * 60 + read.second;
  return ParsedTime{day * secondsPerDay + time, read.fraction, read.secondsFromGMT};
}

}  // namespace ztp
