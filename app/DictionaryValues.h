// Typed looks into a dictionary that the server sent. What is missing is absent; what has the wrong
// type raises PlatformException with a line that says so.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "protocol/Dictionary.h"

namespace ztp {

/// The text under `key`.
std::optional<SecretText> stringForKey(const Dictionary& dictionary, std::string_view key);

/// The integer under `key`: a number (towards zero, the nearest that fits 64 bits), a boolean, or
/// the leading digits of a text.
std::optional<std::int64_t> integerForKey(const Dictionary& dictionary, std::string_view key);

}  // namespace ztp
