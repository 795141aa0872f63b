// Base64 (RFC 4648, section 4) as keys and dictionaries need it; for the .cpp files of this folder.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Data.h"

namespace ztp {

/// What is asked of the "=" at the end of a text: exactly as many as make it a multiple of four, or
/// any number, none included.
enum class Base64Padding { required, tolerated };

/// One line, padded; "" for no bytes.
SecretText encodedBase64(DataView bytes);

/// Characters outside the alphabet are ignored. Absent when what is left is not base64: a single
/// character in the last group, "=" before the end, or the wrong number of them. Bits that the last
/// character carries beyond the last byte are not looked at.
std::optional<Data> decodedBase64(std::string_view text, Base64Padding padding);

}  // namespace ztp
