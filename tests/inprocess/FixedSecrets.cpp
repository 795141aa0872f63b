// Stands between the program and the cryptographic library's random source (linked with --wrap).
#include "tests/inprocess/FixedSecrets.h"

#include <algorithm>
#include <cstddef>

namespace ztp::test {
namespace {

FixedSecrets secrets;
std::uint8_t drawn = 0;  // how many since the reset

// Every draw has bytes of its own.
test::FixedSecrets::Bytes draw(std::uint8_t* bytes, std::size_t count) {
  ++drawn;
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<std::uint8_t>(0x80U + drawn * 37U + i * 11U);
  }
  return {bytes, bytes + count};
}

}  // namespace

const FixedSecrets& FixedSecrets::current() {
  return secrets;
}

void FixedSecrets::reset() {
  secrets = {};
  drawn = 0;
}

}  // namespace ztp::test

using namespace ztp;

// The names that the linker's --wrap prescribes.
extern "C" {
int __wrap_RAND_bytes_ex(void* context, unsigned char* bytes, std::size_t count, unsigned strength);
int __wrap_RAND_priv_bytes_ex(void* context, unsigned char* bytes, std::size_t count,
                              unsigned strength);

int __wrap_RAND_priv_bytes_ex(void* /*context*/, unsigned char* bytes, std::size_t count,
                              unsigned /*strength*/) {
  test::secrets = {};
  test::secrets.symmetricKey = test::draw(bytes, count);
  return 1;
}

int __wrap_RAND_bytes_ex(void* /*context*/, unsigned char* bytes, std::size_t count,
                         unsigned /*strength*/) {
  const auto drawn = test::draw(bytes, count);
  auto& secrets = test::secrets;
  for (auto* secret : {&secrets.forwardingIV, &secrets.inputArchiveIV, &secrets.salt}) {
    if (!secret->empty()) continue;
    *secret = drawn;
    break;
  }
  return 1;
}
}
