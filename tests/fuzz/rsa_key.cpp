// Fuzzes the text of RSA keys, public and private.
#include "tests/fuzz/Fuzzing.h"
#include "util/CryptoUtilities.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const std::string text(bytes, bytes + size);
  for (const auto keyClass : {RSAKeyClass::publicKey, RSAKeyClass::privateKey}) {
    const auto key = CryptoUtilities::createRSAKeyFromString(text, keyClass);
    if (key) continue;
    const std::string& reason = key.error().description;
    mustHold(reason.empty() || reason.starts_with("RSA "));
  }
  return 0;
}
