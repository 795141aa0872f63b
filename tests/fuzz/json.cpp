// Fuzzes dictionary bodies: what parses can be written, and what was written reads the same.
#include <nlohmann/json.hpp>

#include "protocol/Dictionary.h"
#include "tests/fuzz/Fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const auto parsed = dictionaryFromJson(DataView(bytes, size));
  if (!parsed) return 0;
  mustHold(parsed->is_structured());
  const auto written = jsonFromDictionary(*parsed);
  mustHold(written.has_value());
  const auto again = dictionaryFromJson(*written);
  mustHold(again.has_value());
  return 0;
}
