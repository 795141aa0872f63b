// DatePattern: a pattern of letters, compiled once into a list of fields, and the reading and
// printing of text by that list. DateFormatter.h says what the letters mean. Not installed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calendar/ParsedTime.h"
#include "calendar/PatternField.h"
#include "calendar/WallTime.h"

namespace ztp {

/// The forms that have a reader and a printer of their own beside the general ones.
enum class FixedFormat { none, iso8601, iso8601Milliseconds, rfc1123 };

/// A pattern's fields in their order. Never changes after construction.
class DatePattern {
 public:
  /// Throws std::invalid_argument as DateFormatter does.
  explicit DatePattern(std::string_view pattern);

  /// The pattern as it was given.
  [[nodiscard]] const std::string& text() const { return text_; }
  /// Whether what is printed has fractions of a second.
  [[nodiscard]] bool hasFraction() const { return hasFraction_; }

  /// What the text says; absent when it is not exactly of this form.
  [[nodiscard]] std::optional<ParsedTime> read(std::string_view text) const;
  /// The text of a wall-clock time.
  [[nodiscard]] std::string print(const WallTime& time) const;

 private:
  std::string text_;
  std::vector<PatternField> fields_;
  FixedFormat fixedFormat_;
  bool hasFraction_;
};

}  // namespace ztp
