// String operations, written once for the whole program.
#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <limits>

namespace ztp {
namespace {

// White space and newlines: tab to carriage return, NEL, and Unicode's separators (category Z).
constexpr std::array<std::string_view, 25> whiteSpace = {
    "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00a0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200a", "\u2028", "\u2029", "\u202f", "\u205f", "\u3000"};

std::size_t leadingWhiteSpace(std::string_view text) {
  const auto* found = std::find_if(whiteSpace.begin(), whiteSpace.end(),
                                   [&](auto space) { return text.starts_with(space); });
  return found == whiteSpace.end() ? 0 : found->size();
}

std::size_t trailingWhiteSpace(std::string_view text) {
  const auto* found = std::find_if(whiteSpace.begin(), whiteSpace.end(),
                                   [&](auto space) { return text.ends_with(space); });
  return found == whiteSpace.end() ? 0 : found->size();
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

// The first two bytes decide the length and exclude overlong forms, surrogates and values beyond
// U+10FFFF (RFC 3629, section 4).
std::size_t lengthFromLeadingBytes(unsigned char first, unsigned char second) {
  if (first >= 0xc2 && first <= 0xdf) return 2;
  if (first == 0xe0) return second >= 0xa0 ? 3 : 0;
  if (first == 0xed) return second <= 0x9f ? 3 : 0;
  if (first >= 0xe1 && first <= 0xef) return 3;
  if (first == 0xf0) return second >= 0x90 ? 4 : 0;
  if (first == 0xf4) return second <= 0x8f ? 4 : 0;
  if (first >= 0xf1 && first <= 0xf3) return 4;
  return 0;
}

}  // namespace

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string_view trimmed(std::string_view text) {
  while (const std::size_t size = leadingWhiteSpace(text)) text.remove_prefix(size);
  while (const std::size_t size = trailingWhiteSpace(text)) text.remove_suffix(size);
  return text;
}

std::int64_t leadingInteger(std::string_view text) {
  using Limits = std::numeric_limits<std::int64_t>;
  while (const std::size_t size = leadingWhiteSpace(text)) text.remove_prefix(size);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  std::int64_t value = 0;  // gathered as a negative number: that range is the larger one
  for (const char digit : text) {
    if (digit < '0' || digit > '9') break;
    if (__builtin_mul_overflow(value, 10, &value) ||
        __builtin_sub_overflow(value, digit - '0', &value)) {
      return negative ? Limits::min() : Limits::max();
    }
  }
  if (negative) return value;
  return value == Limits::min() ? Limits::max() : -value;
}

std::size_t utf8SequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return 1;
  if (text.size() < 2) return 0;
  const std::size_t length = lengthFromLeadingBytes(first, static_cast<unsigned char>(text[1]));
  if (length == 0 || text.size() < length) return 0;
  const std::string_view rest = text.substr(1, length - 1);
  return std::all_of(rest.begin(), rest.end(), isContinuation) ? length : 0;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string toValidUtf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = utf8SequenceLength(text);
    result += length == 0 ? std::string_view("\ufffd") : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace ztp
