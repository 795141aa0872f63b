// PBKDF2 and AES key wrap against published vectors.
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

using namespace std::string_view_literals;

std::string derived(std::string_view password, std::string_view salt, std::uint64_t rounds) {
  return shown(CryptoUtilities::deriveAESKeyFromPassword(password, bytesOf(salt), rounds));
}

// The first 32 of the 64 bytes of RFC 7914, section 11: they do not depend on the length asked for.
TEST(Pbkdf2, GivesTheVectorsOfRfc7914) {
  EXPECT_EQ(derived("passwd", "salt", 1),
            "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc");
  EXPECT_EQ(derived("Password", "NaCl", 80'000),
            "4ddcd8f60b98be21830cee5ef22701f9641a4418d04c0414aeff08876b34ab56");
}

// The inputs of RFC 6070 with SHA-256, as they are widely published.
TEST(Pbkdf2, GivesTheSha256FormOfTheVectorsOfRfc6070) {
  EXPECT_EQ(derived("password", "salt", 1),
            "120fb6cffcf8b32c43e7225256c4f837a86548c92ccc35480805987cb70be17b");
  EXPECT_EQ(derived("password", "salt", 2),
            "ae4d0c95af6b46d32d0adff928f06dd02a303f8ef3c251dfd6e2d85a95474c43");
  EXPECT_EQ(derived("password", "salt", 4096),
            "c5e478d59288c841aa530db6845c4c8d962893a001ce4e11a4963873aa98134a");
  EXPECT_EQ(derived("passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096),
            "348c89dbcbd32b2f32d814b8116e84cf2b17347ebc1800181c4e2a1fb8dd53e1");
}

TEST(Pbkdf2, WithoutAPasswordIsNothingAndLogsNothing) {
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::deriveAESKeyFromPassword(std::nullopt, bytesOf("salt"), 1));
  EXPECT_EQ(log.text(), "");
}

TEST(Pbkdf2, AnEmptyPasswordIsAPassword) {
  EXPECT_EQ(shown(CryptoUtilities::deriveAESKeyFromPassword("", bytesOf("salt"), 1)),
            "f135c27993baf98773c5cdb40a5706ce6a345cde61b000a67858650cd6a324d7");
}

TEST(Pbkdf2, NoSaltIsAnEmptyOne) {
  EXPECT_EQ(shown(CryptoUtilities::deriveAESKeyFromPassword("password", std::nullopt, 1)),
            derived("password", "", 1));
}

TEST(Pbkdf2, NoRoundsAreTheDefaultOnes) {
  EXPECT_EQ(
      shown(CryptoUtilities::deriveAESKeyFromPassword("password", bytesOf("salt"), std::nullopt)),
      "669cfe52482116fda1aa2cbe409b2f56c8e4563752b7a28f6eaab614ee005178");
}

TEST(Pbkdf2, RoundsOutOfRangeAreLoggedAndNothing) {
  for (const std::uint64_t rounds :
       {std::uint64_t{0}, std::uint64_t{1} << 31U, ~std::uint64_t{0}}) {
    CapturedLog log;
    EXPECT_EQ(derived("password", "salt", rounds), "nothing");
    EXPECT_EQ(log.text(), "PBKDF2: rounds or lengths out of range\n");
  }
}

struct WrapVector {
  std::string_view section, wrappingKey, key, wrapped;
};

// RFC 3394, sections 4.1 to 4.6.
constexpr WrapVector wrapVectors[] = {
    {"4.1", "000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff",
     "1fa68b0a8112b447aef34bd8fb5a7b829d3e862371d2cfe5"},
    {"4.2", "000102030405060708090a0b0c0d0e0f1011121314151617", "00112233445566778899aabbccddeeff",
     "96778b25ae6ca435f92b5b97c050aed2468ab8a17ad84e5d"},
    {"4.3", "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "00112233445566778899aabbccddeeff", "64e8c3f9ce0f5ba263e9777905818a2a93c8191e7d6e8ae7"},
    {"4.4", "000102030405060708090a0b0c0d0e0f1011121314151617",
     "00112233445566778899aabbccddeeff0001020304050607",
     "031d33264e15d33268f24ec260743edce1c6c7ddee725a936ba814915c6762d2"},
    {"4.5", "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "00112233445566778899aabbccddeeff0001020304050607",
     "a8f9bc1612c68b3ff6e6f4fbe30e71e4769c8b80a32cb8958cd5d17d6b254da1"},
    {"4.6", "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "00112233445566778899aabbccddeeff000102030405060708090a0b0c0d0e0f",
     "28c9f404c4b810f4cbccb35cfb87f8263f5786e2d80ed326cbc7f0e71a99f43bfb988b9b7a02dd21"},
};

TEST(KeyWrap, GivesTheVectorsOfRfc3394) {
  for (const auto& [section, wrappingKey, key, wrapped] : wrapVectors) {
    EXPECT_EQ(shown(CryptoUtilities::wrapAESKey(hex(key), hex(wrappingKey))), wrapped) << section;
    EXPECT_EQ(shown(CryptoUtilities::unwrapAESKeyWithData(hex(wrapped), hex(wrappingKey))), key)
        << section;
  }
}

TEST(KeyWrap, AddsEightBytesAndTakesThemAway) {
  const Data wrappingKey = pattern(32);
  const auto wrapped = CryptoUtilities::wrapAESKey(pattern(32), wrappingKey);
  EXPECT_EQ(wrapped.value().size(), 40U);
  EXPECT_EQ(CryptoUtilities::unwrapAESKeyWithData(*wrapped, wrappingKey).value().size(), 32U);
}

TEST(KeyWrap, EightBytesOrFewerUnwrapToNothing) {
  for (const std::size_t size : {0U, 1U, 7U, 8U}) {
    EXPECT_FALSE(CryptoUtilities::unwrapAESKeyWithData(pattern(size), pattern(32))) << size;
  }
}

TEST(KeyWrap, OddLengthsAndKeysOfNoAesSizeGiveNothingAndLogNothing) {
  CapturedLog log;
  for (const std::size_t size : {0U, 1U, 8U, 15U, 17U, 31U}) {
    EXPECT_FALSE(CryptoUtilities::wrapAESKey(pattern(size), pattern(32))) << size;
  }
  for (const std::size_t size : {9U, 16U, 23U, 25U, 41U}) {
    EXPECT_FALSE(CryptoUtilities::unwrapAESKeyWithData(pattern(size), pattern(32))) << size;
  }
  for (const std::size_t size : {0U, 8U, 31U, 33U}) {
    EXPECT_FALSE(CryptoUtilities::wrapAESKey(pattern(32), pattern(size))) << size;
    EXPECT_FALSE(CryptoUtilities::unwrapAESKeyWithData(pattern(40), pattern(size))) << size;
  }
  EXPECT_EQ(log.text(), "");
}

TEST(KeyWrap, ADamagedOrForeignKeyUnwrapsToNothing) {
  const Data wrappingKey = pattern(32);
  auto wrapped = CryptoUtilities::wrapAESKey(pattern(32), wrappingKey).value();
  EXPECT_FALSE(CryptoUtilities::unwrapAESKeyWithData(wrapped, hex(wrapVectors[5].wrappingKey)));
  wrapped[20] ^= 1U;
  EXPECT_FALSE(CryptoUtilities::unwrapAESKeyWithData(wrapped, wrappingKey));
}

}  // namespace
}  // namespace ztp::test
