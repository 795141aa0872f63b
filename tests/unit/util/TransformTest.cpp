// Key objects and the general transform: what is refused, and what the error says then.
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "tests/unit/util/RsaTestKeys.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

const Data someKey = pattern(32);
const Data someVector = pattern(16);
const Data someData = pattern(100);

CryptoKey aesKey() {
  return CryptoUtilities::createAESKeyFromData(someKey).value();
}
CryptoKey publicKey() {
  return CryptoUtilities::createRSAKeyFromString(publicKeyInfo, RSAKeyClass::publicKey).value();
}
CryptoKey privateKey() {
  return CryptoUtilities::createRSAKeyFromString(privateKeyPkcs8, RSAKeyClass::privateKey).value();
}

template <typename T>
std::string errorOf(const Result<T>& result) {
  return result ? "(none)" : result.error().description;
}

TEST(AesKey, OfNoBytesHasNoCauseToTell) {
  EXPECT_EQ(errorOf(CryptoUtilities::createAESKeyFromData({})), "");
}

TEST(AesKey, OfAnotherLengthTellsTheError) {
  EXPECT_EQ(errorOf(CryptoUtilities::createAESKeyFromData(pattern(24))),
            "AES key: 24 bytes instead of 32");
}

TEST(Transform, WithAttributesAndWithoutIsTheSameCipher) {
  const Data zeros = hex("00000000000000000000000000000000");
  const auto plain = CryptoUtilities::encryptData(DataView(someData), aesKey(), {});
  const auto told = CryptoUtilities::encryptData(
      DataView(someData), aesKey(),
      {EncryptionMode::cbc, Padding::pkcs7, InitializationVector{zeros}});
  EXPECT_EQ(shown(plain.value()), shown(told.value()));
}

TEST(Transform, ThereAndBackGivesTheData) {
  const TransformAttributes attributes{InitializationVector{someVector}};
  auto cipher = CryptoUtilities::encryptData(Data(someData), aesKey(), attributes).value();
  EXPECT_EQ(shown(CryptoUtilities::decryptData(std::move(cipher), aesKey(), attributes).value()),
            shown(someData));
}

TEST(Transform, FailureOfTheTransformTellsTheError) {
  EXPECT_EQ(errorOf(CryptoUtilities::decryptData(DataView(someData), aesKey(), {})),
            "AES decryption: wrong final block length");
}

TEST(Transform, TheFirstAttributeThatIsRefusedTellsTheError) {
  struct Case {
    CryptoKey key;
    TransformAttributes attributes;
    std::string error;
  };
  std::vector<Case> cases;
  cases.push_back({aesKey(), {Padding::pkcs1}, "padding: not for this kind of key"});
  cases.push_back({aesKey(),
                   {InitializationVector{DataView(someVector).first(8)}, Padding::pkcs1},
                   "initialization vector: 8 bytes instead of 16"});
  cases.push_back({publicKey(), {Padding::pkcs7}, "padding: not for this kind of key"});
  cases.push_back({publicKey(), {EncryptionMode::cbc}, "encryption mode: not for an RSA key"});
  cases.push_back({publicKey(),
                   {Padding::pkcs1, InitializationVector{someVector}},
                   "initialization vector: not for an RSA key"});
  for (const auto& [key, attributes, expected] : cases) {
    EXPECT_EQ(errorOf(CryptoUtilities::encryptData(DataView(someData), key, attributes)), expected);
  }
}

TEST(Transform, AKeyForTheOtherDirectionIsRefused) {
  EXPECT_EQ(errorOf(CryptoUtilities::decryptData(DataView(someData), publicKey(), {})),
            "RSA decryption: needs a private key");
  EXPECT_EQ(errorOf(CryptoUtilities::encryptData(DataView(someData), privateKey(), {})),
            "RSA encryption: needs a public key");
}

TEST(Transform, WithRsaKeysGoesThereAndBack) {
  const auto cipher =
      CryptoUtilities::encryptData(DataView(someData), publicKey(), {Padding::pkcs1});
  ASSERT_EQ(errorOf(cipher), "(none)");
  EXPECT_EQ(shown(CryptoUtilities::decryptData(DataView(*cipher), privateKey(), {}).value()),
            shown(someData));
}

TEST(Transform, LogsNothing) {
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(someData), aesKey(), {}));
  EXPECT_FALSE(CryptoUtilities::encryptData(DataView(someData), aesKey(), {Padding::pkcs1}));
  EXPECT_EQ(log.text(), "");
}

TEST(Transform, AKeyOutlivesWhatItWasMadeOf) {
  Data bytes = someKey;
  const auto key = CryptoUtilities::createAESKeyFromData(bytes);
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  EXPECT_EQ(
      shown(CryptoUtilities::encryptData(DataView(someData), *key, {}).value()),
      shown(CryptoUtilities::encryptData(DataView(someData), AESKeyBytes{someKey}, std::nullopt)));
}

}  // namespace
}  // namespace ztp::test
