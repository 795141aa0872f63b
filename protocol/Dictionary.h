// Dictionaries as bodies: JSON (RFC 8259) of bounded depth, in the order of insertion.
//
// Include <nlohmann/json.hpp> where a dictionary's content is looked at; here its name is enough.
#pragma once

#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/Data.h"
#include "platform/Error.h"

namespace ztp {

/// A JSON value that keeps the order of its keys. A body's outermost value is an object or array.
/// Its texts are wiped when they are released: bodies hold salts and initialization vectors.
using Dictionary = nlohmann::basic_json<nlohmann::ordered_map, std::vector, SecretText>;

/// Deeper nesting of objects and arrays is refused while parsing: the library recurses when it
/// copies or writes a value, and a hostile body could exhaust the stack.
inline constexpr int maximumDictionaryDepth = 64;

/// The object or array that `text` holds. An error that quotes nothing of the text (it may be a
/// secret) when it is not JSON in UTF-8, holds a number beyond what a double can carry, is nested
/// too deeply, or its outermost value is neither an object nor an array.
[[nodiscard]] Result<Dictionary> dictionaryFromJson(DataView text);

/// Compact JSON: no blanks, keys in the order of insertion. An error when a string is not UTF-8.
[[nodiscard]] Result<Data> jsonFromDictionary(const Dictionary& dictionary);

}  // namespace ztp
