// Fuzzes base64: what decodes is what its own encoding decodes to.
#include "tests/fuzz/Fuzzing.h"
#include "util/ZanburyToolProxyUtilities.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using Utilities = ztp::ZanburyToolProxyUtilities;
  const std::string text(bytes, bytes + size);
  const auto decoded = Utilities::decodedDataWithString(text);
  if (!decoded || decoded->empty()) return 0;
  const auto encoded = Utilities::stringWithEncodedData(ztp::DataView(*decoded));
  mustHold(Utilities::decodedDataWithString(encoded) == decoded);
  return 0;
}
