// Key objects and the general transform: what is refused, and what the error says then.
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "tests/unit/util/RsaTestKeys.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

using MaybeError = std::optional<Error>;

const Data someKey = pattern(32);
const Data someVector = pattern(16);
const Data someData = pattern(100);

CryptoKey aesKey() {
  return CryptoUtilities::createAESKeyFromData(someKey, nullptr).value();
}
CryptoKey publicKey() {
  return CryptoUtilities::createRSAKeyFromString(publicKeyInfo, RSAKeyClass::publicKey, nullptr)
      .value();
}
CryptoKey privateKey() {
  return CryptoUtilities::createRSAKeyFromString(privateKeyPkcs8, RSAKeyClass::privateKey, nullptr)
      .value();
}

std::string told(const MaybeError& error) {
  return error ? error->description : "(none)";
}

TEST(AesKey, OfNoBytesIsNoneAndLeavesTheErrorAlone) {
  MaybeError error{Error{"left alone"}};
  EXPECT_FALSE(CryptoUtilities::createAESKeyFromData({}, &error).has_value());
  EXPECT_EQ(told(error), "left alone");
}

TEST(AesKey, OfAnotherLengthTellsTheError) {
  MaybeError error;
  EXPECT_FALSE(CryptoUtilities::createAESKeyFromData(pattern(24), &error).has_value());
  EXPECT_EQ(told(error), "AES key: 24 bytes instead of 32");
}

TEST(AesKey, FailsWithoutAnyoneToTell) {
  EXPECT_FALSE(CryptoUtilities::createAESKeyFromData(pattern(24), nullptr).has_value());
}

TEST(Transform, WithAttributesAndWithoutIsTheSameCipher) {
  MaybeError error{Error{"earlier"}};
  const Data zeros = hex("00000000000000000000000000000000");
  const auto plain = CryptoUtilities::encryptData(DataView(someData), aesKey(), {}, error);
  EXPECT_EQ(told(error), "(none)");
  const auto told = CryptoUtilities::encryptData(
      DataView(someData), aesKey(),
      {EncryptionMode::cbc, Padding::pkcs7, InitializationVector{zeros}}, error);
  EXPECT_EQ(shown(plain), shown(told));
}

TEST(Transform, SuccessClearsTheError) {
  MaybeError error{Error{"earlier"}};
  const auto cipher = CryptoUtilities::encryptData(Data(someData), aesKey(),
                                                   {InitializationVector{someVector}}, error);
  EXPECT_EQ(told(error), "(none)");
  error = Error{"earlier"};
  EXPECT_EQ(shown(CryptoUtilities::decryptData(Data(*cipher), aesKey(),
                                               {InitializationVector{someVector}}, error)),
            shown(someData));
  EXPECT_EQ(told(error), "(none)");
}

TEST(Transform, FailureOfTheTransformTellsTheError) {
  MaybeError error;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(someData), aesKey(), {}, error).has_value());
  EXPECT_EQ(told(error), "AES decryption: wrong final block length");
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
    MaybeError error;
    EXPECT_FALSE(CryptoUtilities::encryptData(DataView(someData), key, attributes, error));
    EXPECT_EQ(told(error), expected);
  }
}

TEST(Transform, AKeyForTheOtherDirectionIsRefused) {
  MaybeError error;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(someData), publicKey(), {}, error));
  EXPECT_EQ(told(error), "RSA decryption: needs a private key");
  EXPECT_FALSE(CryptoUtilities::encryptData(DataView(someData), privateKey(), {}, error));
  EXPECT_EQ(told(error), "RSA encryption: needs a public key");
}

TEST(Transform, WithRsaKeysGoesThereAndBack) {
  MaybeError error;
  const auto cipher =
      CryptoUtilities::encryptData(DataView(someData), publicKey(), {Padding::pkcs1}, error);
  ASSERT_TRUE(cipher.has_value()) << told(error);
  EXPECT_EQ(shown(CryptoUtilities::decryptData(DataView(*cipher), privateKey(), {}, error)),
            shown(someData));
}

TEST(Transform, LogsNothing) {
  CapturedLog log;
  MaybeError error;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(someData), aesKey(), {}, error));
  EXPECT_FALSE(CryptoUtilities::encryptData(DataView(someData), aesKey(), {Padding::pkcs1}, error));
  EXPECT_EQ(log.text(), "");
}

TEST(Transform, AKeyOutlivesWhatItWasMadeOf) {
  Data bytes = someKey;
  const auto key = CryptoUtilities::createAESKeyFromData(bytes, nullptr);
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  MaybeError error;
  EXPECT_EQ(
      shown(CryptoUtilities::encryptData(DataView(someData), *key, {}, error)),
      shown(CryptoUtilities::encryptData(DataView(someData), AESKeyBytes{someKey}, std::nullopt)));
}

}  // namespace
}  // namespace ztp::test
