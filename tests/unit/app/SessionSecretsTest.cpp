// The secrets of a session, seen from the server's side.
#include "app/SessionSecrets.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/unit/util/RsaTestKeys.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

const std::string publicKey(publicKeyInfo);

// What a server reads out of a handshake.
struct Received {
  Data key;
  Data salt;
  Data forwardingIV;
  Data inputArchiveIV;
};

Data decoded(const Dictionary& dictionary, const char* name) {
  const auto text = dictionary.at(name).get<std::string>();
  return Utilities::decodedDataWithString(text).value_or(Data{});
}

Data decrypted(const Dictionary& dictionary, const char* name) {
  return CryptoUtilities::decryptData(DataView(decoded(dictionary, name)),
                                      RSAPrivateKeyText{privateKeyPkcs8})
      .value_or(Data{});
}

Received receivedFrom(const SessionSecrets& secrets) {
  Dictionary dictionary = Dictionary::object();
  secrets.addTo(dictionary, publicKey);
  EXPECT_EQ(dictionary.at("publicKey"), publicKey);
  return {decrypted(dictionary, "symmetricKey"), decrypted(dictionary, "salt"),
          decoded(dictionary, "forwardingIV"), decoded(dictionary, "inputArchiveIV")};
}

Data encrypted(const Received& server, DataView bytes, DataView initializationVector) {
  return CryptoUtilities::encryptData(bytes, AESKeyBytes{server.key}, initializationVector)
      .value_or(Data{});
}

std::string encoded(DataView bytes) {
  return std::string(Utilities::stringWithEncodedData(bytes));
}

class SessionSecretsTest : public testing::Test {
 protected:
  SessionSecretsTest() {
    secrets.generate();
    server = receivedFrom(secrets);
  }

  // An answer that returns these bytes as the salt.
  [[nodiscard]] Dictionary answer(DataView salt) const {
    return {{"saltIV", encoded(vector)}, {"salt", encoded(encrypted(server, salt, vector))}};
  }
  [[nodiscard]] Dictionary redirect(std::string_view destinations) const {
    return {{"redirectDestinationsIV", encoded(vector)},
            {"redirectDestinations", encoded(encrypted(server, bytesOf(destinations), vector))}};
  }

  SessionSecrets secrets;
  Received server;
  const Data vector = Data(16, std::uint8_t{7});
};

TEST_F(SessionSecretsTest, AreReadByWhoeverHasTheServersKey) {
  EXPECT_EQ(server.key.size(), 32U);
  EXPECT_EQ(server.salt.size(), 32U);
  EXPECT_EQ(server.forwardingIV.size(), 16U);
  EXPECT_EQ(server.inputArchiveIV.size(), 16U);
  EXPECT_EQ(server.key, copyOf(secrets.key().bytes));
  EXPECT_EQ(server.inputArchiveIV, copyOf(secrets.uploadIV()));
}

TEST_F(SessionSecretsTest, AreOthersForEveryHandshake) {
  std::set<std::string> seen;
  for (int handshake = 0; handshake < 10; ++handshake) {
    secrets.generate();
    const Received received = receivedFrom(secrets);
    for (const auto& secret :
         {received.key, received.salt, received.forwardingIV, received.inputArchiveIV}) {
      EXPECT_TRUE(seen.emplace(textOf(secret)).second);
    }
  }
}

TEST_F(SessionSecretsTest, AreEmptyTextsWithoutAKeyToEncryptThemFor) {
  for (const auto& key : {std::optional<std::string>(), std::optional<std::string>("no key")}) {
    Dictionary dictionary = Dictionary::object();
    secrets.addTo(dictionary, key);
    EXPECT_EQ(dictionary.at("symmetricKey"), "");
    EXPECT_EQ(dictionary.at("salt"), "");
    EXPECT_EQ(dictionary.contains("publicKey"), key.has_value());
    EXPECT_EQ(decoded(dictionary, "forwardingIV"), server.forwardingIV);
  }
}

TEST_F(SessionSecretsTest, ProveAServerThatReturnsTheSalt) {
  EXPECT_TRUE(secrets.saltMatches(answer(server.salt)));
}

TEST_F(SessionSecretsTest, RefuseEverythingElse) {
  Data other = server.salt;
  other.back() ^= 1U;
  EXPECT_FALSE(secrets.saltMatches(answer(other)));
  EXPECT_FALSE(secrets.saltMatches(answer(DataView(server.salt).first(31))));
  EXPECT_FALSE(secrets.saltMatches(answer({})));
  EXPECT_FALSE(secrets.saltMatches(Dictionary::object()));
  EXPECT_FALSE(secrets.saltMatches({{"saltIV", encoded(vector)}}));
  EXPECT_FALSE(secrets.saltMatches({{"salt", encoded(server.salt)}}));
  EXPECT_FALSE(secrets.saltMatches({{"saltIV", "?"}, {"salt", "?"}}));
  const Dictionary old = answer(server.salt);
  secrets.generate();
  EXPECT_FALSE(secrets.saltMatches(old)) << "it is the answer to an earlier handshake";
}

TEST_F(SessionSecretsTest, RefuseEverythingBeforeTheyAreMade) {
  EXPECT_FALSE(SessionSecrets().saltMatches(answer(server.salt)));
  EXPECT_FALSE(SessionSecrets().saltMatches(answer({})));
}

TEST_F(SessionSecretsTest, FindTheServersThatAreToBeTriedInstead) {
  using List = std::vector<std::string>;
  EXPECT_EQ(secrets.redirectDestinations(redirect("a,b, c")), (List{"a", "b", " c"}));
  EXPECT_EQ(secrets.redirectDestinations(redirect("")), List{""});
  EXPECT_EQ(secrets.redirectDestinations(redirect("\xff")), std::nullopt) << "no text";
  EXPECT_EQ(secrets.redirectDestinations(Dictionary::object()), std::nullopt);
  Dictionary incomplete = redirect("a");
  incomplete.erase("redirectDestinationsIV");
  EXPECT_EQ(secrets.redirectDestinations(incomplete), std::nullopt);
  EXPECT_EQ(secrets.redirectDestinations({{"redirectDestinationsIV", encoded(vector)},
                                          {"redirectDestinations", encoded(vector)}}),
            std::nullopt)
      << "it does not decrypt";
}

TEST_F(SessionSecretsTest, TakeTheIVOfTheResultFromTheServer) {
  EXPECT_FALSE(secrets.resultIV());
  secrets.readOutputArchiveIV({{"outputArchiveIV", encoded(vector)}});
  EXPECT_EQ(copyOf(secrets.resultIV().value()), vector);
  secrets.readOutputArchiveIV(Dictionary::object());
  EXPECT_FALSE(secrets.resultIV());
}

TEST_F(SessionSecretsTest, EncryptEachForwardedChunkByItself) {
  const auto first = secrets.encryptForwarded(bytesOf("chunk")).value();
  EXPECT_EQ(secrets.encryptForwarded(bytesOf("chunk")), first);
  EXPECT_EQ(first, encrypted(server, bytesOf("chunk"), server.forwardingIV));
  EXPECT_EQ(textOf(secrets.decryptForwarded(Data(first)).value()), "chunk");
}

TEST_F(SessionSecretsTest, SayThatAChunkDoesNotDecrypt) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(secrets.decryptForwarded(copyOf(bytesOf("not a whole block"))));
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace ztp::test
