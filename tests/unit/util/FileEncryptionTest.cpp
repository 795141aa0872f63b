// Whole files, encrypted and decrypted: what is written, what is deleted, what is logged.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <thread>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/Interrupter.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/util/Bytes.h"
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
  // A file that is whole blocks, but whose last block decrypts to no padding.
  [[nodiscard]] fs::path brokenFile(std::size_t size) const {
    auto cipher = CryptoUtilities::encryptData(pattern(size), AESKeyBytes{key_}, vector_).value();
    cipher.back() ^= 0xffU;
    return scratch_.write("broken", cipher);
  }
  [[nodiscard]] std::vector<std::string> names() const { return scratch_.names(); }
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

// Some pieces and a half, whatever size a piece has.
constexpr std::size_t severalPieces = 5'500'000;

TEST_F(FileEncryption, TheSeamsBetweenPiecesDoNotShow) {
  for (std::size_t piece = 65'536; piece <= 4'194'304; piece *= 2) {
    for (const std::size_t size : {piece - 16, piece - 1, piece, piece + 1, piece + 16}) {
      const Data content = pattern(size);
      ASSERT_TRUE(encryptFile(plainFile(content), at("result")));
      EXPECT_TRUE(contentOf(at("result")) == contentOf(cipherFile(content))) << size;
      ASSERT_TRUE(decryptFile(at("result"), at("back")));
      EXPECT_TRUE(contentOf(at("back")) == textOf(content)) << size;
    }
  }
}

TEST_F(FileEncryption, WhatComesInShortReadsIsAllThere) {
  const Data content = pattern(severalPieces);
  const auto fifo = at("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] {
    std::ofstream file(fifo, std::ios::binary);
    for (std::size_t start = 0; start < content.size(); start += 12'345) {
      const auto part = textOf(content).substr(start, 12'345);
      file.write(part.data(), static_cast<std::streamsize>(part.size())).flush();
    }
  });
  EXPECT_TRUE(encryptFile(fifo, at("result")));
  writer.join();
  EXPECT_TRUE(contentOf(at("result")) == contentOf(cipherFile(content)));
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

TEST_F(FileEncryption, ADestinationThatIsTheSourceTakesItsPlace) {
  for (const std::size_t size : {std::size_t{4}, severalPieces}) {
    const Data content = pattern(size);
    const auto file = plainFile(content);
    const auto name = "the old file of " + std::to_string(size);
    fs::create_hard_link(file, at(name));
    ASSERT_TRUE(encryptFile(file, file));
    EXPECT_TRUE(contentOf(at(name)) == textOf(content));  // not written over: the name was free
    ASSERT_TRUE(decryptFile(file, file));
    EXPECT_TRUE(contentOf(file) == textOf(content));
  }
}

TEST_F(FileEncryption, ASourceThatIsTheDestinationStaysWhenItsDecryptionFails) {
  const auto file = brokenFile(severalPieces);
  const auto before = contentOf(file);
  CapturedLog log;
  EXPECT_FALSE(decryptFile(file, file));
  EXPECT_TRUE(contentOf(file) == before);
  EXPECT_EQ(names(), std::vector<std::string>{"broken"});
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
  for (const std::size_t size : {std::size_t{100}, severalPieces}) {
    const auto plain = plainFile(pattern(size));
    CapturedLog log;
    EXPECT_FALSE(Utilities::encryptFile(plain, at("cipher"), AESKeyBytes{}, vector_));
    EXPECT_EQ(log.text(), "(null)\n");  // of the transformation itself
    EXPECT_EQ(names(), std::vector<std::string>{});
  }
}

TEST_F(FileEncryption, ADecryptionThatFailsKeepsTheSourceAndLeavesNoDestination) {
  struct Case {
    std::size_t size;
    std::string_view line;
  };
  for (const auto& [size, line] :
       {Case{0, "AES decryption: wrong final block length\n"},
        Case{15, "AES decryption: wrong final block length\n"},
        Case{100, "AES decryption: wrong final block length\n"},
        Case{severalPieces + 1, "AES decryption: wrong final block length\n"},
        Case{32, "AES decryption: bad decrypt\n"},
        Case{severalPieces / 16 * 16, "AES decryption: bad decrypt\n"}}) {
    const auto file = scratch_.write("broken", pattern(size));
    CapturedLog log;
    EXPECT_FALSE(decryptFile(file, at("back")));
    EXPECT_EQ(log.text(), line) << size;
    EXPECT_EQ(names(), std::vector<std::string>{"broken"}) << size;
  }
}

TEST_F(FileEncryption, OfSeveralPiecesTheLastBlockDecidesWhetherADecryptionHolds) {
  const auto file = brokenFile(severalPieces);
  const auto destination = scratch_.write("back", bytesOf("of yesterday"));
  fs::create_hard_link(destination, at("its other name"));
  CapturedLog log;
  EXPECT_FALSE(decryptFile(file, destination));
  EXPECT_EQ(log.text(), "AES decryption: bad decrypt\n");
  EXPECT_FALSE(fs::exists(destination));
  EXPECT_EQ(contentOf(at("its other name")), "") << "nothing of the content is left";
}

TEST_F(FileEncryption, ADestinationThatCannotBeWrittenIsFalseWithoutALine) {
  for (const std::size_t size : {std::size_t{100}, severalPieces}) {
    for (const auto* destination : {"no directory/result", "/dev/full"}) {
      const auto plain = plainFile(pattern(size));
      const auto cipher = cipherFile(pattern(size));
      CapturedLog log;
      EXPECT_FALSE(encryptFile(plain, at(destination)));
      EXPECT_FALSE(decryptFile(cipher, at(destination)));
      EXPECT_EQ(log.text(), "");
      EXPECT_EQ(names(), std::vector<std::string>{"cipher"});
      EXPECT_TRUE(fs::exists("/dev/full"));
    }
  }
}

// Files of this process hold no more than `bytes` while this lives: to write more fails.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(FileEncryption, ADestinationForWhichThereIsNoRoomGoes) {
  const auto cipher = cipherFile(pattern(severalPieces));
  for (const rlim_t room : {rlim_t{0}, rlim_t{1'000'000}, rlim_t{severalPieces - 1}}) {
    const auto source = scratch_.write("source", pattern(severalPieces));
    const FileSizeLimit limit(room);
    EXPECT_FALSE(encryptFile(source, at("result")));
    EXPECT_FALSE(decryptFile(cipher, at("back")));
    EXPECT_EQ(names(), std::vector<std::string>{"cipher"}) << room;
  }
}

TEST_F(FileEncryption, AnInterruptionBetweenPiecesLeavesNeitherPlainSourceNorDestination) {
  const auto plain = plainFile(pattern(severalPieces));
  const auto cipher = cipherFile(pattern(severalPieces));
  int calls = 0;
  const Interrupter interrupter([&] {
    if (++calls % 2 == 0) throw Interruption{};
  });
  EXPECT_THROW(static_cast<void>(encryptFile(plain, at("result"))), Interruption);
  EXPECT_THROW(static_cast<void>(decryptFile(cipher, at("back"))), Interruption);
  EXPECT_EQ(names(), std::vector<std::string>{"cipher"});
}

// The most memory that the process has had (proc(5)), in bytes.
std::size_t peakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

TEST_F(FileEncryption, TakesNoMoreMemoryForALargeFileThanForASmallOne) {
  constexpr std::size_t margin = 4'000'000;
  ASSERT_TRUE(encryptFile(plainFile(pattern(severalPieces)), at("cipher")));
  ASSERT_TRUE(decryptFile(at("cipher"), at("back")));
  const std::size_t before = peakMemory();
  const auto large = plainFile({});
  fs::resize_file(large, before + 20 * margin);
  ASSERT_TRUE(encryptFile(large, at("cipher")));
  ASSERT_TRUE(decryptFile(at("cipher"), at("back")));
  EXPECT_EQ(fs::file_size(at("back")), before + 20 * margin);
  EXPECT_GT(before, 0U);
  EXPECT_LT(peakMemory(), before + margin);
}

}  // namespace
}  // namespace ztp::test
