// Random bytes, keys, vectors and salts, and what happens when the random source fails.
#define OPENSSL_SUPPRESS_DEPRECATED  // a failing source can only be set with the older interface
#include <gtest/gtest.h>
#include <openssl/rand.h>

#include "tests/support/CapturedLog.h"
#include "tests/unit/util/Bytes.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

// While it lives, the library's random source fails.
class FailingRandomSource {
 public:
  FailingRandomSource() : usual_(RAND_get_rand_method()) { RAND_set_rand_method(&failing); }
  FailingRandomSource(const FailingRandomSource&) = delete;
  FailingRandomSource& operator=(const FailingRandomSource&) = delete;
  ~FailingRandomSource() { RAND_set_rand_method(usual_); }

 private:
  static int fail(unsigned char* /*buffer*/, int /*length*/) { return 0; }
  static int ready() { return 1; }
  static constexpr RAND_METHOD failing{nullptr, fail, nullptr, nullptr, fail, ready};

  const RAND_METHOD* usual_;
};

TEST(RandomData, OfNoLengthIsNothingAndNotEmpty) {
  EXPECT_FALSE(CryptoUtilities::generateRandomDataOfLength(0).has_value());
}

TEST(RandomData, HasTheLengthAskedFor) {
  for (const std::size_t length : {1U, 15U, 16U, 4096U, 100'000U}) {
    EXPECT_EQ(CryptoUtilities::generateRandomDataOfLength(length).value().size(), length);
  }
}

TEST(RandomData, KeysVectorsAndSaltsHaveTheirSizes) {
  EXPECT_EQ(CryptoUtilities::generateRandomAESKey().value().size(), 32U);
  EXPECT_EQ(CryptoUtilities::generateRandomAESInitializationVector().value().size(), 16U);
  EXPECT_EQ(CryptoUtilities::generateRandomPasswordSalt().value().size(), 32U);
}

TEST(RandomData, NeverRepeats) {
  EXPECT_NE(shown(CryptoUtilities::generateRandomAESKey()),
            shown(CryptoUtilities::generateRandomAESKey()));
  EXPECT_NE(shown(CryptoUtilities::generateRandomAESInitializationVector()),
            shown(CryptoUtilities::generateRandomAESInitializationVector()));
  EXPECT_NE(shown(CryptoUtilities::generateRandomPasswordSalt()),
            shown(CryptoUtilities::generateRandomPasswordSalt()));
}

TEST(Secrets, AreEqualWhenAllTheirBytesAre) {
  const Data secret = CryptoUtilities::generateRandomPasswordSalt().value();
  EXPECT_TRUE(CryptoUtilities::areEqual(secret, Data(secret)));
  EXPECT_TRUE(CryptoUtilities::areEqual({}, {}));
  EXPECT_FALSE(CryptoUtilities::areEqual(secret, DataView(secret).first(31)));
  for (std::size_t place = 0; place < secret.size(); ++place) {
    Data other = secret;
    other[place] ^= 1U;
    EXPECT_FALSE(CryptoUtilities::areEqual(secret, other)) << place;
  }
}

TEST(RandomData, ComesFromTheDeviceWhenTheSourceFails) {
  const FailingRandomSource failing;
  CapturedLog log;
  const auto first = CryptoUtilities::generateRandomDataOfLength(32);
  const auto second = CryptoUtilities::generateRandomDataOfLength(32);
  EXPECT_EQ(first.value().size(), 32U);
  EXPECT_NE(shown(first), shown(second));
  EXPECT_NE(shown(first), std::string(64, '0'));
  EXPECT_EQ(log.text(), "");
}

TEST(RandomData, AKeyThatCannotBeMadeIsLoggedAndNothing) {
  const FailingRandomSource failing;
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::generateRandomAESKey().has_value());
  EXPECT_EQ(log.text(), "AES key: unknown reason\n");
}

}  // namespace
}  // namespace ztp::test
