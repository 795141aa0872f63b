// Whole files, encrypted and decrypted: what is written, what is deleted, what is logged.
#include <gtest/gtest.h>

#include "tests/unit/util/Bytes.h"
#include "tests/unit/util/CapturedLog.h"
#include "tests/unit/util/ScratchDirectory.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Utilities = ZanburyToolProxyUtilities;

class FileEncryption : public testing::Test {
 protected:
  [[nodiscard]] bool encryptFile(const fs::path& source, const fs::path& destination) const {
    return Utilities::encryptFile(source, destination, AESKeyBytes{key_}, vector_);
  }
  [[nodiscard]] bool decryptFile(const fs::path& source, const fs::path& destination) const {
    return Utilities::decryptFile(source, destination, AESKeyBytes{key_}, vector_);
  }
  [[nodiscard]] fs::path plainFile(DataView content) const {
    return scratch_.write("plain", content);
  }
  [[nodiscard]] fs::path cipherFile(DataView content) const {
    return scratch_.write(
        "cipher", CryptoUtilities::encryptData(content, AESKeyBytes{key_}, vector_).value());
  }
  [[nodiscard]] fs::path at(std::string_view name) const { return scratch_.path() / name; }

  const Data key_ = pattern(32);
  const Data vector_ = pattern(16);
  const ScratchDirectory scratch_;
};

TEST_F(FileEncryption, GoesThereAndBack) {
  for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 100'000U, 5'000'000U}) {
    const Data content = pattern(size);
    ASSERT_TRUE(encryptFile(plainFile(content), at("cipher")));
    EXPECT_EQ(fs::file_size(at("cipher")), size / 16 * 16 + 16);
    ASSERT_TRUE(decryptFile(at("cipher"), at("back")));
    EXPECT_EQ(contentOf(at("back")), textOf(content)) << size;
  }
}

TEST_F(FileEncryption, TheSeamsBetweenPiecesDoNotShow) {
  const auto piece = static_cast<std::ptrdiff_t>(dataPieceSize);
  for (const std::ptrdiff_t size :
       {piece - 1, piece, piece + 1, piece + 16, 2 * piece - 16, 2 * piece, 2 * piece + 5}) {
    const Data content = pattern(static_cast<std::size_t>(size));
    ASSERT_TRUE(encryptFile(plainFile(content), at("result")));
    EXPECT_TRUE(contentOf(at("result")) == contentOf(cipherFile(content))) << size;
    ASSERT_TRUE(decryptFile(at("result"), at("back")));
    EXPECT_TRUE(contentOf(at("back")) == textOf(content)) << size;
  }
}

TEST_F(FileEncryption, OfSeveralPiecesTheLastOneDecidesWhetherADecryptionHolds) {
  auto cipher = contentOf(cipherFile(pattern(dataPieceSize + 100)));
  cipher.back() = static_cast<char>(~cipher.back());
  const auto file = scratch_.write("broken", bytesOf(cipher));
  CapturedLog log;
  EXPECT_FALSE(decryptFile(file, at("back")));
  EXPECT_EQ(log.text(), "AES decryption: bad decrypt\n");
  EXPECT_FALSE(fs::exists(at("back")));
}

TEST_F(FileEncryption, IsTheEncryptionOfTheContent) {
  const Data content = pattern(1000);
  ASSERT_TRUE(encryptFile(plainFile(content), at("result")));
  EXPECT_EQ(contentOf(at("result")), contentOf(cipherFile(content)));
}

TEST_F(FileEncryption, EncryptingDeletesTheSourceAndDecryptingKeepsIt) {
  const auto plain = plainFile(pattern(100));
  ASSERT_TRUE(encryptFile(plain, at("cipher")));
  EXPECT_FALSE(fs::exists(plain));
  ASSERT_TRUE(decryptFile(at("cipher"), at("back")));
  EXPECT_TRUE(fs::exists(at("cipher")));
}

TEST_F(FileEncryption, TheFlagChoosesTheDirection) {
  const auto plain = plainFile(bytesOf("text"));
  ASSERT_TRUE(Utilities::encrypt(true, plain, at("cipher"), AESKeyBytes{key_}, vector_));
  ASSERT_TRUE(Utilities::encrypt(false, at("cipher"), at("back"), AESKeyBytes{key_}, vector_));
  EXPECT_EQ(contentOf(at("back")), "text");
}

TEST_F(FileEncryption, AnAbsentVectorIsZeros) {
  const auto plain = plainFile(bytesOf("text"));
  const Data zeros = hex("00000000000000000000000000000000");
  ASSERT_TRUE(Utilities::encryptFile(plain, at("cipher"), AESKeyBytes{key_}, zeros));
  ASSERT_TRUE(Utilities::decryptFile(at("cipher"), at("back"), AESKeyBytes{key_}, std::nullopt));
  EXPECT_EQ(contentOf(at("back")), "text");
}

TEST_F(FileEncryption, ReplacesWhatTheDestinationHeldInPlace) {
  const auto destination = scratch_.write("destination", pattern(5000));
  fs::create_hard_link(destination, at("same file"));
  ASSERT_TRUE(encryptFile(plainFile(pattern(10)), destination));
  EXPECT_EQ(fs::file_size(at("same file")), 16U);
}

TEST_F(FileEncryption, TheSourceIsGoneBeforeTheResultIsWritten) {
  const auto file = plainFile(bytesOf("text"));
  fs::create_hard_link(file, at("the old file"));
  ASSERT_TRUE(encryptFile(file, file));
  EXPECT_EQ(contentOf(at("the old file")), "text");  // not written over: the name was free again
  ASSERT_TRUE(decryptFile(file, at("back")));
  EXPECT_EQ(contentOf(at("back")), "text");
}

TEST_F(FileEncryption, ASourceThatCannotBeReadIsLoggedAndNothingHappens) {
  CapturedLog log;
  EXPECT_FALSE(encryptFile(at("missing"), at("cipher")));
  EXPECT_FALSE(decryptFile(at("missing"), at("back")));
  const std::string line = "open " + at("missing").string() + ": No such file or directory\n";
  EXPECT_EQ(log.text(), line + line);
  EXPECT_FALSE(fs::exists(at("cipher")));
}

TEST_F(FileEncryption, ADirectoryCannotBeReadAndStays) {
  fs::create_directory(at("directory"));
  CapturedLog log;
  EXPECT_FALSE(encryptFile(at("directory"), at("cipher")));
  EXPECT_NE(log.text().find("Is a directory"), std::string::npos);
  EXPECT_TRUE(fs::exists(at("directory")));
}

TEST_F(FileEncryption, ATransformThatFailsDeletesTheSourceAndWritesNothing) {
  const auto plain = plainFile(pattern(100));
  CapturedLog log;
  EXPECT_FALSE(Utilities::encryptFile(plain, at("cipher"), AESKeyBytes{}, vector_));
  EXPECT_EQ(log.text(), "(null)\n");  // of the transformation itself
  EXPECT_FALSE(fs::exists(plain));
  EXPECT_FALSE(fs::exists(at("cipher")));
}

TEST_F(FileEncryption, ADecryptionThatFailsKeepsTheSourceAndWritesNothing) {
  for (const std::size_t size : {0U, 15U, 100U}) {
    const auto file = scratch_.write("broken", pattern(size));
    CapturedLog log;
    EXPECT_FALSE(decryptFile(file, at("back")));
    EXPECT_EQ(log.text(), "AES decryption: wrong final block length\n");
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(at("back")));
  }
}

TEST_F(FileEncryption, ADestinationThatCannotBeWrittenIsFalseWithoutALine) {
  const auto plain = plainFile(pattern(100));
  const auto cipher = cipherFile(pattern(100));
  CapturedLog log;
  EXPECT_FALSE(encryptFile(plain, at("no directory/cipher")));
  EXPECT_FALSE(decryptFile(cipher, at("no directory/back")));
  EXPECT_EQ(log.text(), "");
  EXPECT_FALSE(fs::exists(plain));
  EXPECT_TRUE(fs::exists(cipher));
}

}  // namespace
}  // namespace ztp::test
