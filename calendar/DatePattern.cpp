// DatePattern: the compiler of patterns, and the choice between the general way and the fast one.
#include "calendar/DatePattern.h"

#include <algorithm>
#include <stdexcept>

#include "calendar/FixedFormats.h"
#include "calendar/PatternText.h"

namespace ztp {

namespace {

struct Letter {
  char letter;
  int widest;
};

constexpr Letter letters[] = {{'y', 9}, {'M', 4}, {'d', 2}, {'E', 4}, {'H', 2}, {'h', 2},
                              {'m', 2}, {'s', 2}, {'S', 9}, {'a', 3}, {'Z', 5}};

bool isLetter(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

void requireKnown(char letter, std::size_t width) {
  for (const Letter& known : letters) {
    if (known.letter == letter && width <= static_cast<std::size_t>(known.widest)) return;
  }
  throw std::invalid_argument("DateFormatter: no field " + std::string(width, letter));
}

void appendLiteral(std::vector<PatternField>& fields, std::string_view text) {
  if (fields.empty() || fields.back().letter != '\0') fields.push_back({});
  fields.back().literal += text;
}

// Takes a quoted text, whose first apostrophe stands at `at`; returns the place after its last.
std::size_t compileQuoted(std::string_view pattern, std::size_t at,
                          std::vector<PatternField>& fields) {
  if (pattern.substr(at).starts_with("''")) {
    appendLiteral(fields, "'");
    return at + 2;
  }
  for (++at; at < pattern.size(); ++at) {
    const bool doubled = pattern.substr(at).starts_with("''");
    if (pattern[at] == '\'' && !doubled) return at + 1;
    appendLiteral(fields, pattern.substr(at, 1));
    if (doubled) ++at;
  }
  throw std::invalid_argument("DateFormatter: apostrophe without its second");
}

std::vector<PatternField> compile(std::string_view pattern) {
  std::vector<PatternField> fields;
  for (std::size_t at = 0; at < pattern.size();) {
    const char character = pattern[at];
    if (character == '\'') {
      at = compileQuoted(pattern, at, fields);
    } else if (isLetter(character)) {
      const std::size_t end = pattern.find_first_not_of(character, at);
      const std::size_t width = (end == std::string_view::npos ? pattern.size() : end) - at;
      requireKnown(character, width);
      fields.push_back({character, static_cast<int>(width), {}});
      at += width;
    } else {
      appendLiteral(fields, pattern.substr(at, 1));
      ++at;
    }
  }
  return fields;
}

FixedFormat fixedFormatOf(std::string_view pattern) {
  if (pattern == "yyyy-MM-dd'T'HH:mm:ss'Z'") return FixedFormat::iso8601;
  if (pattern == "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'") return FixedFormat::iso8601Milliseconds;
  if (pattern == "EEE, dd MMM yyyy HH':'mm':'ss Z") return FixedFormat::rfc1123;
  return FixedFormat::none;
}

}  // namespace

DatePattern::DatePattern(std::string_view pattern)
    : text_(pattern),
      fields_(compile(pattern)),
      fixedFormat_(fixedFormatOf(pattern)),
      hasFraction_(std::any_of(fields_.begin(), fields_.end(),
                               [](const PatternField& field) { return field.letter == 'S'; })) {}

std::optional<ParsedTime> DatePattern::read(std::string_view text) const {
  switch (fixedFormat_) {
    case FixedFormat::iso8601:
      return readISO8601(text);
    case FixedFormat::iso8601Milliseconds:
      return readISO8601Milliseconds(text);
    case FixedFormat::rfc1123:
      return readRFC1123(text);
    case FixedFormat::none:
      break;
  }
  return readByFields(fields_, text);
}

std::string DatePattern::print(const WallTime& time) const {
  if (fixedFormat_ == FixedFormat::iso8601 && isOfFourDigitYear(time)) return printISO8601(time);
  return printByFields(fields_, time);
}

}  // namespace ztp
