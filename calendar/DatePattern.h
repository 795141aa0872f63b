// DatePattern: a pattern of letters, compiled once into a list of fields, and the reading and
// printing of text by that list. DateFormatter.h says what the letters mean. Not installed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calendar/ClockReading.h"
#include "calendar/PatternField.h"

namespace ztp {

/// The forms that have a reader and a printer of their own beside the general ones.
enum class WireForm { none, iso8601, iso8601Milliseconds, rfc1123 };

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
  [[nodiscard]] std::optional<ClockReading> read(std::string_view text) const;
  /// The text of a clock's face.
  [[nodiscard]] std::string print(const ClockFace& face) const;

 private:
  std::string text_;
  std::vector<PatternField> fields_;
  WireForm wireForm_;
  bool hasFraction_;
};

}  // namespace ztp
