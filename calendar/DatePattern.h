// DatePattern: a pattern of letters, compiled once into a list of fields, and the reading and
// printing of text by that list. DateFormatter.h says what the letters mean. Not installed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ztp {

/// What a text says that was read by a pattern.
struct ClockReading {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it.
  std::int64_t seconds = 0;
  /// [0:1) seconds on top.
  double fraction = 0.0;
  /// Seconds east of GMT when the text names its offset.
  std::optional<std::int32_t> secondsFromGMT = std::nullopt;
};

/// What a pattern prints.
struct ClockFace {
  /// The wall clock, seconds since 2001-01-01 00:00:00 on it; a day of the calendar.
  std::int64_t seconds = 0;
  /// [0:999999999] on top; only looked at by patterns with fractions.
  std::int64_t nanoseconds = 0;
  std::int32_t secondsFromGMT = 0;
};

/// One letter with its width, or a text that stands for itself.
struct PatternField {
  char letter = '\0';  // 0 for a literal text
  int width = 0;
  std::string literal;
};

/// The forms that have a reader and a printer of their own beside the general ones.
enum class WireForm { none, iso8601, iso8601Milliseconds, rfc1123 };

class DatePattern {
 public:
  /// Throws std::invalid_argument as DateFormatter does.
  explicit DatePattern(std::string_view pattern);

  [[nodiscard]] const std::string& text() const { return text_; }
  /// Whether what is printed has fractions of a second.
  [[nodiscard]] bool hasFraction() const { return hasFraction_; }

  /// What the text says; absent when it is not exactly of this form.
  [[nodiscard]] std::optional<ClockReading> read(std::string_view text) const;
  [[nodiscard]] std::string print(const ClockFace& face) const;

 private:
  std::string text_;
  std::vector<PatternField> fields_;
  WireForm wireForm_;
  bool hasFraction_;
};

}  // namespace ztp
