// Dictionaries as bodies, on the JSON library.
#include "protocol/Dictionary.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ztp {
namespace {

// Thrown out of the parser: its callback can drop a value but not stop the parsing.
struct NestedTooDeeply {};

// Called by the parser before each value it makes; `depth` counts the containers around it.
bool refuseTooDeep(int depth, nlohmann::detail::parse_event_t event, const Dictionary& /*value*/) {
  using Event = nlohmann::detail::parse_event_t;
  const bool opens = event == Event::object_start || event == Event::array_start;
  if (opens && depth >= maximumDictionaryDepth) throw NestedTooDeeply{};
  return true;
}

Error jsonError(std::string_view what) {
  return Error{fmt::format("JSON: {}", what)};
}

// `position` counts from 1.
Error notValidAt(std::size_t position) {
  return jsonError(fmt::format("not valid at byte {}", position));
}

// The library's own description of a failure quotes the text around it, which may be a secret.
Error describe(const Dictionary::exception& exception) {
  if (const auto* parseError = dynamic_cast<const Dictionary::parse_error*>(&exception)) {
    return notValidAt(parseError->byte);
  }
  return jsonError("a number is out of range");
}

}  // namespace

Result<Dictionary> dictionaryFromJson(DataView text) {
  // The library takes a NUL for the end of the text and would not look at what follows.
  const auto nul = std::find(text.begin(), text.end(), 0);
  if (nul != text.end()) return notValidAt(static_cast<std::size_t>(nul - text.begin()) + 1);
  try {
    auto value = Dictionary::parse(text.begin(), text.end(), refuseTooDeep);
    if (value.is_structured()) return value;
    return jsonError("the outermost value is neither an object nor an array");
  } catch (const NestedTooDeeply&) {
    return jsonError(fmt::format("nested deeper than {} levels", maximumDictionaryDepth));
  } catch (const Dictionary::exception& exception) {
    return describe(exception);
  }
}

Result<Data> jsonFromDictionary(const Dictionary& dictionary) {
  if (!dictionary.is_structured()) return jsonError("neither an object nor an array");
  try {
    return copyOf(bytesOf(dictionary.dump()));
  } catch (const Dictionary::exception&) {
    return jsonError("a text is not UTF-8");
  }
}

}  // namespace ztp
