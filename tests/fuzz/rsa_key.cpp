// Fuzzes the text of RSA keys, public and private.
#include "tests/fuzz/Fuzzing.h"
#include "util/CryptoUtilities.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const std::string text(bytes, bytes + size);
  for (const auto keyClass : {RSAKeyClass::publicKey, RSAKeyClass::privateKey}) {
    std::optional<Error> error;
    const auto key = CryptoUtilities::createRSAKeyFromString(text, keyClass, &error);
    mustHold(!key || !error);
  }
  return 0;
}
