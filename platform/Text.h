// What the session needs for texts: splitting, trimming, leading integers, UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ztp {

/// The pieces between separators: "a,,b" is "a", "", "b"; an empty text is one empty piece.
std::vector<std::string> split(std::string_view text, char separator);

/// The text without white space and newlines (Unicode's separators included) at either end.
std::string_view trimmed(std::string_view text);

/// The decimal integer at the front, after optional blanks and a sign: "5s" is 5, "x" is 0.
/// A number beyond 64 bits becomes the nearest one that fits.
std::int64_t leadingInteger(std::string_view text);

/// Length in bytes (1 to 4) of the well-formed UTF-8 sequence (RFC 3629) that `text` begins with;
/// 0 when it begins with none.
std::size_t utf8SequenceLength(std::string_view text);

/// True when the whole text is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// The text with every byte that is not part of well-formed UTF-8 replaced by U+FFFD.
std::string toValidUtf8(std::string_view text);

}  // namespace ztp
