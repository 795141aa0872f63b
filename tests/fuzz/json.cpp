// Fuzzes dictionary bodies: what parses can be written, and what was written reads the same.
#include <nlohmann/json.hpp>

#include "protocol/Dictionary.h"
#include "tests/fuzz/Fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const auto parsed = dictionaryFromJson(DataView(bytes, size));
  const auto* dictionary = std::get_if<Dictionary>(&parsed);
  if (dictionary == nullptr) return 0;
  mustHold(dictionary->is_structured());
  const auto written = jsonFromDictionary(*dictionary);
  mustHold(std::holds_alternative<Data>(written));
  const auto again = dictionaryFromJson(std::get<Data>(written));
  mustHold(std::holds_alternative<Dictionary>(again));
  return 0;
}
