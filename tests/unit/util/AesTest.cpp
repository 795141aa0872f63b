// AES-256-CBC with PKCS#7 padding: published vectors, padding, wrong keys, in place and in pieces.
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/Interrupter.h"
#include "tests/unit/util/Bytes.h"
#include "util/CryptoSizes.h"
#include "util/CryptoUtilities.h"

namespace ztp::test {
namespace {

// NIST SP 800-38A, F.2.5 and F.2.6. The last block is the padding of four whole ones; it was made
// with the openssl tool.
const Data nistKey = hex("603deb1015ca71be2b73aef0857d7781 1f352c073b6108d72d9810a30914dff4");
const Data nistVector = hex("000102030405060708090a0b0c0d0e0f");
const Data nistPlain =
    hex("6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");
const Data nistCipher =
    hex("f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
        "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b"
        "3f461796d6b0d6b2e0c2a72b4d80e644");

const AESKeyBytes key{nistKey};

std::optional<Data> encrypted(DataView data) {
  return CryptoUtilities::encryptData(data, key, nistVector);
}
std::optional<Data> decrypted(DataView data) {
  return CryptoUtilities::decryptData(data, key, nistVector);
}

TEST(Aes, EncryptsThePublishedVector) {
  EXPECT_EQ(shown(encrypted(nistPlain)), shown(nistCipher));
}

TEST(Aes, DecryptsThePublishedVector) {
  EXPECT_EQ(shown(decrypted(nistCipher)), shown(nistPlain));
}

TEST(Aes, NothingEncryptedIsOneBlockOfPadding) {
  const auto result = encrypted({});
  EXPECT_EQ(result.value().size(), 16U);
  EXPECT_EQ(decrypted(*result).value().size(), 0U);
}

TEST(Aes, PaddingFillsUpToTheNextBlock) {
  struct Case {
    std::size_t plain, cipher;
  };
  for (const auto& [plain, cipher] :
       {Case{1, 16}, Case{15, 16}, Case{16, 32}, Case{17, 32}, Case{31, 32}, Case{32, 48}}) {
    const Data data = pattern(plain);
    const auto result = encrypted(data);
    EXPECT_EQ(result.value().size(), cipher) << plain;
    EXPECT_EQ(shown(decrypted(*result)), shown(data)) << plain;
  }
}

TEST(Aes, AnAbsentVectorIsZeros) {
  const auto result = CryptoUtilities::encryptData(DataView(nistPlain), key, std::nullopt);
  EXPECT_EQ(shown(result),
            shown(CryptoUtilities::encryptData(DataView(nistPlain), key,
                                               Data(hex("00000000000000000000000000000000")))));
  EXPECT_EQ(shown(CryptoUtilities::decryptData(DataView(*result), key, std::nullopt)),
            shown(nistPlain));
}

TEST(Aes, AnEmptyKeyGivesNothingAndLogsANullError) {
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::encryptData(DataView(nistPlain), AESKeyBytes{}, nistVector));
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(nistCipher), AESKeyBytes{}, nistVector));
  EXPECT_EQ(log.text(), "(null)\n(null)\n");
}

TEST(Aes, AKeyOfAnotherLengthIsRefused) {
  struct Case {
    std::size_t size;
    std::string_view line;
  };
  for (const auto& [size, line] :
       {Case{1, "AES key: 1 bytes instead of 32\n"}, Case{16, "AES key: 16 bytes instead of 32\n"},
        Case{31, "AES key: 31 bytes instead of 32\n"},
        Case{33, "AES key: 33 bytes instead of 32\n"}}) {
    const Data bytes = pattern(size);
    CapturedLog log;
    EXPECT_FALSE(CryptoUtilities::encryptData(DataView(nistPlain), AESKeyBytes{bytes}, nistVector));
    EXPECT_EQ(log.text(), line);
  }
}

TEST(Aes, AVectorOfAnotherLengthIsRefused) {
  struct Case {
    std::size_t size;
    std::string_view line;
  };
  for (const auto& [size, line] : {Case{0, "initialization vector: 0 bytes instead of 16\n"},
                                   Case{15, "initialization vector: 15 bytes instead of 16\n"},
                                   Case{17, "initialization vector: 17 bytes instead of 16\n"}}) {
    const Data vector = pattern(size);
    CapturedLog log;
    EXPECT_FALSE(CryptoUtilities::decryptData(DataView(nistCipher), key, vector));
    EXPECT_EQ(log.text(), line);
  }
}

TEST(Aes, AWrongKeyFailsThePaddingAndIsLogged) {
  const Data wrong = pattern(32);
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(nistCipher), AESKeyBytes{wrong}, nistVector));
  EXPECT_EQ(log.text(), "AES decryption: bad decrypt\n");
}

TEST(Aes, AWrongVectorSpoilsTheFirstBlockOnly) {
  const auto result = CryptoUtilities::decryptData(DataView(nistCipher), key,
                                                   Data(hex("ff0102030405060708090a0b0c0d0e0f")));
  EXPECT_EQ(shown(result).substr(0, 32), "94c1bee22e409f96e93d7e117393172a");
  EXPECT_EQ(shown(result).substr(32), shown(nistPlain).substr(32));
}

TEST(Aes, AWrongVectorFailsWhenItSpoilsThePadding) {
  const auto oneBlock = encrypted({});
  CapturedLog log;
  EXPECT_FALSE(CryptoUtilities::decryptData(DataView(*oneBlock), key,
                                            Data(hex("000102030405060708090a0b0c0d0eff"))));
  EXPECT_EQ(log.text(), "AES decryption: bad decrypt\n");
}

TEST(Aes, WhatIsNoWholeNumberOfBlocksDoesNotDecrypt) {
  for (const std::size_t size : {0U, 1U, 15U, 17U, 79U}) {
    CapturedLog log;
    EXPECT_FALSE(decrypted(DataView(nistCipher).first(size)).has_value()) << size;
    EXPECT_EQ(log.text(), "AES decryption: wrong final block length\n") << size;
  }
}

TEST(Aes, ACutCiphertextDoesNotDecrypt) {
  CapturedLog log;
  EXPECT_FALSE(decrypted(DataView(nistCipher).first(64)).has_value());
  EXPECT_EQ(log.text(), "AES decryption: bad decrypt\n");
}

TEST(Aes, ABufferThatIsGivenIsTransformedWhereItLies) {
  Data buffer = pattern(1000);
  buffer.reserve(1000 + 16);
  const auto* const place = buffer.data();
  auto cipher = CryptoUtilities::encryptData(std::move(buffer), key, nistVector);
  EXPECT_EQ(cipher.value().data(), place);
  auto plain = CryptoUtilities::decryptData(std::move(*cipher), key, nistVector);
  EXPECT_EQ(plain.value().data(), place);
  EXPECT_EQ(shown(plain), shown(pattern(1000)));
}

TEST(Aes, InPlaceEqualsCopyingAroundTheBordersOfAPiece) {
  constexpr std::size_t piece = interruptCheckBytes;
  for (const std::size_t size : {piece - 1, piece, piece + 1, piece + 16, 2 * piece + 5}) {
    const Data data = pattern(size);
    const auto copied = encrypted(data);
    auto inPlace = CryptoUtilities::encryptData(Data(data), key, nistVector);
    ASSERT_EQ(copied, inPlace) << size;
    EXPECT_EQ(decrypted(*copied), data) << size;
    EXPECT_EQ(CryptoUtilities::decryptData(std::move(*inPlace), key, nistVector), data) << size;
  }
}

TEST(Aes, ALongBufferWithoutRoomGrowsByOneBlockOnly) {
  Data data = pattern(100'000);
  data.shrink_to_fit();
  const auto result = CryptoUtilities::encryptData(std::move(data), key, nistVector);
  EXPECT_EQ(result.value().capacity(), 100'016U);
}

TEST(Aes, ACancelIsSeenBetweenThePiecesOfALongBuffer) {
  auto cipher = encrypted(pattern(3 * interruptCheckBytes));
  int count = 0;
  const Interrupter interrupter([&] { ++count; });
  EXPECT_TRUE(CryptoUtilities::decryptData(std::move(*cipher), key, nistVector).has_value());
  EXPECT_EQ(count, 2);
}

TEST(Aes, AShortBufferIsNeverInterrupted) {
  int count = 0;
  const Interrupter interrupter([&] { ++count; });
  EXPECT_TRUE(encrypted(pattern(interruptCheckBytes)).has_value());
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace ztp::test
