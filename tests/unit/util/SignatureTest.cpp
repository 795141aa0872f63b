// SHA-256 signatures with RSA: those of the openssl tool hold, everything else does not.
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "tests/unit/util/RsaTestKeys.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

Data decoded(std::string_view text) {
  return ZanburyToolProxyUtilities::decodedDataWithString(text).value();
}

bool holds(DataView signature, std::string_view data, std::string_view key) {
  return CryptoUtilities::verifySHA256Signature(signature, bytesOf(data), RSAPublicKeyText{key});
}

TEST(Signature, OfTheOpensslToolHolds) {
  EXPECT_TRUE(holds(decoded(signatureSha256), message, publicKeyInfo));
  EXPECT_TRUE(holds(decoded(signatureSha256), message, publicKeyPkcs1));
}

TEST(Signature, OfAnotherDigestOrPaddingDoesNotHold) {
  EXPECT_FALSE(holds(decoded(signatureSha1), message, publicKeyInfo));
  EXPECT_FALSE(holds(decoded(signaturePss), message, publicKeyInfo));
}

TEST(Signature, OfOtherDataOrAnotherKeyDoesNotHold) {
  EXPECT_FALSE(holds(decoded(signatureSha256), "The quick brown fox.", publicKeyInfo));
  EXPECT_FALSE(holds(decoded(signatureSha256), message, otherPublicKeyInfo));
}

TEST(Signature, WithOneBitChangedOrCutDoesNotHold) {
  Data changed = decoded(signatureSha256);
  changed[100] ^= 1U;
  EXPECT_FALSE(holds(changed, message, publicKeyInfo));
  EXPECT_FALSE(holds(DataView(decoded(signatureSha256)).first(255), message, publicKeyInfo));
}

TEST(Signature, WithAnythingEmptyDoesNotHoldAndTheKeyIsNotTouched) {
  CapturedLog log;
  EXPECT_FALSE(holds({}, message, "AAAA"));
  EXPECT_FALSE(holds(decoded(signatureSha256), "", "AAAA"));
  EXPECT_FALSE(holds(decoded(signatureSha256), message, ""));
  EXPECT_EQ(log.text(), "");
}

TEST(Signature, WithAKeyThatCannotBeReadLogsTheError) {
  CapturedLog log;
  EXPECT_FALSE(holds(decoded(signatureSha256), message, "!!!!"));
  EXPECT_FALSE(holds(decoded(signatureSha256), message, ellipticPublicKeyInfo));
  EXPECT_EQ(log.text(), "(null)\nRSA public key: a key of another kind\n");
}

TEST(Signature, ThatDoesNotHoldLogsNothing) {
  CapturedLog log;
  EXPECT_FALSE(holds(decoded(signatureSha1), message, publicKeyInfo));
  EXPECT_EQ(log.text(), "");
}

}  // namespace
}  // namespace ztp::test
