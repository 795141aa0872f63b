// RSA keys given as text, and PKCS#1 v1.5 encryption with them.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "tests/unit/util/RsaTestKeys.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

// The lines between the markers, joined by `lineEnd`.
std::string bodyOf(std::string_view pem, std::string_view lineEnd) {
  std::string result;
  while (!pem.empty()) {
    const std::size_t end = pem.find('\n');
    const std::string_view line = pem.substr(0, end);
    if (!line.starts_with('-')) result.append(line).append(lineEnd);
    pem.remove_prefix(end + 1);
  }
  return result;
}

std::string withoutPadding(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '='), text.end());
  return text;
}

std::string withCarriageReturns(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '\n') result += '\r';
    result += character;
  }
  return result;
}

std::string roundTrip(std::string_view publicText, std::string_view privateText) {
  const auto cipher = CryptoUtilities::encryptData(bytesOf(message), RSAPublicKeyText{publicText});
  if (!cipher) return "not encrypted";
  return textShown(CryptoUtilities::decryptData(*cipher, RSAPrivateKeyText{privateText}));
}

bool isKey(std::string_view text, RSAKeyClass keyClass) {
  return CryptoUtilities::createRSAKeyFromString(text, keyClass).has_value();
}

TEST(RsaKey, IsReadInEveryFormOfItsDer) {
  EXPECT_EQ(roundTrip(publicKeyInfo, privateKeyPkcs8), message);
  EXPECT_EQ(roundTrip(publicKeyPkcs1, privateKeyPkcs8), message);
  EXPECT_EQ(roundTrip(publicKeyInfo, privateKeyPkcs1), message);
}

TEST(RsaKey, IsReadInEveryFormOfItsText) {
  const std::string body = bodyOf(publicKeyInfo, "\n");
  const std::string paddedBody = bodyOf(publicKeyPkcs1, "\n");
  ASSERT_TRUE(paddedBody.find('=') != std::string::npos);
  const std::vector<std::pair<std::string_view, std::string>> texts = {
      {"with markers", std::string(publicKeyInfo)},
      {"without markers", body},
      {"in one line", bodyOf(publicKeyInfo, "")},
      {"with carriage returns", withCarriageReturns(publicKeyInfo)},
      {"padded, with carriage returns", withCarriageReturns(publicKeyPkcs1)},
      {"padded", paddedBody},
      {"without its padding", withoutPadding(paddedBody)},
      {"without its padding, with carriage returns",
       withCarriageReturns(withoutPadding(paddedBody))},
      {"with blank lines", "\n\n" + body + "\n\n"},
      {"with blanks between the characters", bodyOf(publicKeyInfo, " \t ")},
      {"with characters of no alphabet", bodyOf(publicKeyInfo, "!*_.\x80\xff")},
      {"after lines that begin with a dash", "-a comment that is not base64\n" + body},
  };
  for (const auto& [name, text] : texts)
    EXPECT_EQ(roundTrip(text, privateKeyPkcs8), message) << name;
}

TEST(RsaKey, OfATextThatDecodesToNothingHasNoCauseToTell) {
  for (const std::string_view text :
       {"", "\n", "-----BEGIN PUBLIC KEY-----\n-----END PUBLIC KEY-----\n", "A", "=", "====", "!!!",
        "\r\n", "AAAAA", "AA=A"}) {
    const auto key = CryptoUtilities::createRSAKeyFromString(text, RSAKeyClass::publicKey);
    ASSERT_FALSE(key) << text;
    EXPECT_EQ(key.error().description, "") << text;
  }
}

TEST(RsaKey, OfBytesThatAreNoKeyTellsTheError) {
  for (const std::string_view text :
       {std::string_view("AAAA"), std::string_view("MAA="), publicKeyInfo.substr(0, 200),
        ellipticPublicKeyInfo, privateKeyPkcs8, privateKeyPkcs1}) {
    const auto key = CryptoUtilities::createRSAKeyFromString(text, RSAKeyClass::publicKey);
    ASSERT_FALSE(key) << text;
    EXPECT_TRUE(key.error().description.starts_with("RSA public key: ")) << key.error().description;
  }
}

TEST(RsaKey, OfAnotherKindSaysSo) {
  const auto key =
      CryptoUtilities::createRSAKeyFromString(ellipticPublicKeyInfo, RSAKeyClass::publicKey);
  ASSERT_FALSE(key);
  EXPECT_EQ(key.error().description, "RSA public key: a key of another kind");
}

TEST(RsaKey, ThatIsPrivateIsNotMadeOfAPublicOneNorAskedAPasswordFor) {
  EXPECT_FALSE(isKey(publicKeyInfo, RSAKeyClass::privateKey));
  EXPECT_FALSE(isKey(publicKeyPkcs1, RSAKeyClass::privateKey));
  EXPECT_FALSE(isKey(privateKeyEncrypted, RSAKeyClass::privateKey));
}

TEST(RsaKey, CutAnywhereIsNone) {
  const std::string body = bodyOf(publicKeyInfo, "");
  for (std::size_t size = 0; size < body.size() - 4; ++size) {
    EXPECT_FALSE(isKey(std::string_view(body).substr(0, size), RSAKeyClass::publicKey)) << size;
  }
}

TEST(Rsa, DecryptsWhatTheOpensslToolEncrypted) {
  const auto cipher = ZanburyToolProxyUtilities::decodedDataWithString(encryptedMessage);
  EXPECT_EQ(
      textShown(CryptoUtilities::decryptData(cipher.value(), RSAPrivateKeyText{privateKeyPkcs8})),
      message);
}

TEST(Rsa, EncryptsToTheModulusSizeAndNeverTheSameTwice) {
  const auto first =
      CryptoUtilities::encryptData(bytesOf(message), RSAPublicKeyText{publicKeyInfo});
  const auto second =
      CryptoUtilities::encryptData(bytesOf(message), RSAPublicKeyText{publicKeyInfo});
  EXPECT_EQ(first.value().size(), 256U);
  EXPECT_NE(shown(first), shown(second));
}

TEST(Rsa, EncryptsNothingAndAsMuchAsFits) {
  for (const std::size_t size : {0U, 1U, 245U}) {
    const Data data = pattern(size);
    const auto cipher = CryptoUtilities::encryptData(data, RSAPublicKeyText{publicKeyInfo});
    EXPECT_EQ(
        shown(CryptoUtilities::decryptData(cipher.value(), RSAPrivateKeyText{privateKeyPkcs1})),
        shown(data));
  }
}

// The line names the error of making the key, which is none: it has always read so.
TEST(Rsa, AFailedTransformLogsANullError) {
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::encryptData(pattern(246), RSAPublicKeyText{publicKeyInfo}));
  EXPECT_FALSE(CryptoUtilities::decryptData(pattern(255), RSAPrivateKeyText{privateKeyPkcs8}));
  EXPECT_EQ(log.text(), "(null)\n(null)\n");
}

TEST(Rsa, ATextThatDecodesToNothingLogsANullError) {
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::encryptData(bytesOf(message), RSAPublicKeyText{""}));
  EXPECT_FALSE(CryptoUtilities::decryptData(pattern(256), RSAPrivateKeyText{"-----\n"}));
  EXPECT_EQ(log.text(), "(null)\n(null)\n");
}

TEST(Rsa, AKeyThatCannotBeReadLogsItsError) {
  CapturedLog log;
  EXPECT_FALSE(
      CryptoUtilities::encryptData(bytesOf(message), RSAPublicKeyText{ellipticPublicKeyInfo}));
  EXPECT_EQ(log.text(), "RSA public key: a key of another kind\n");
}

TEST(Rsa, TheKeyTextNeverAppearsInTheLog) {
  const std::string broken = bodyOf(privateKeyPkcs8, "").substr(0, 800);
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::decryptData(pattern(256), RSAPrivateKeyText{broken}));
  const std::string text = log.text();
  EXPECT_TRUE(text.starts_with("RSA private key: ")) << text;
  EXPECT_EQ(text.find(broken.substr(0, 16)), std::string::npos);
}

}  // namespace
}  // namespace ztp::test
