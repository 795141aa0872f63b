// Fuzzes destinations: what passes must be harmless as arguments of ssh, each of which stands
// alone.
#include <algorithm>

#include "tests/fuzz/Fuzzing.h"
#include "util/ServerDestination.h"

namespace {

bool isHarmless(const std::string& argument) {
  return !argument.empty() && argument.front() != '-' &&
         std::none_of(argument.begin(), argument.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const std::string text(bytes, bytes + size);
  const auto destination = ServerDestination::fromString(text);
  if (!destination) return 0;
  mustHold(isHarmless(destination->user));
  mustHold(isHarmless(destination->host));
  mustHold(destination->host.find_first_of("@/") == std::string::npos);
  mustHold(destination->portText == "(null)" ||
           destination->portText.find_first_not_of("0123456789") == std::string::npos);
  return 0;
}
