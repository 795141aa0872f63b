// What the cryptographic library keeps of a key goes with the work that it was needed for, however
// that ends: no memory that it gives back holds any of it.
#include <gtest/gtest.h>
#include <malloc.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "tests/support/CapturedLog.h"
#include "tests/support/Interrupter.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/util/Bytes.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

// The library's blocks since `watch`, and how many were given back with the key in them.
class LibraryMemory {
 public:
  // The first half of the key stands in the schedules of both directions as it is.
  void watch(DataView key) {
    sought_ = key.first(16);
    spoiled_ = 0;
    blocks_.clear();
  }
  void stop() { sought_ = {}; }

  void add(void* block) {
    if (!sought_.empty() && block != nullptr) blocks_.insert(block);
  }
  void remove(void* block) {
    if (!sought_.empty() && block != nullptr && holdsKey(block)) ++spoiled_;
    blocks_.erase(block);
  }

  [[nodiscard]] bool anyHoldsKey() const {
    return std::any_of(blocks_.begin(), blocks_.end(), [this](void* b) { return holdsKey(b); });
  }
  [[nodiscard]] int givenBackWithKey() const { return spoiled_; }

 private:
  [[nodiscard]] bool holdsKey(void* block) const {
    const auto* bytes = static_cast<const std::uint8_t*>(block);
    const DataView content(bytes, ::malloc_usable_size(block));
    return std::search(content.begin(), content.end(), sought_.begin(), sought_.end()) !=
           content.end();
  }

  DataView sought_;
  std::set<void*> blocks_;
  int spoiled_ = 0;
};

LibraryMemory& memory() {
  static LibraryMemory instance;
  return instance;
}

void* allocate(std::size_t size, const char* /*file*/, int /*line*/) {
  void* const block = std::malloc(size);
  memory().add(block);
  return block;
}
void release(void* block, const char* /*file*/, int /*line*/) {
  memory().remove(block);
  std::free(block);
}
void* resize(void* block, std::size_t size, const char* /*file*/, int /*line*/) {
  memory().remove(block);
  void* const resized = std::realloc(block, size);
  memory().add(resized);
  return resized;
}

// Before the library takes any memory: later it does not allow it.
const bool isInstalled = CRYPTO_set_mem_functions(allocate, resize, release) == 1;

class KeySchedule : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(isInstalled);
    scratch_.write("plain", pattern(content));
    scratch_.write("cipher",
                   CryptoUtilities::encryptData(pattern(content), AESKeyBytes{key_}, {}).value());
    auto broken = pattern(content);
    broken.resize(content / 16 * 16);
    scratch_.write("broken", broken);
    memory().watch(key_);
  }
  void TearDown() override { memory().stop(); }

  [[nodiscard]] bool encrypt() const {
    return Utilities::encryptFile(at("plain"), at("result"), AESKeyBytes{key_}, std::nullopt);
  }
  [[nodiscard]] bool decrypt(std::string_view name) const {
    return Utilities::decryptFile(at(name), at("result"), AESKeyBytes{key_}, std::nullopt);
  }
  [[nodiscard]] std::filesystem::path at(std::string_view name) const {
    return scratch_.path() / name;
  }
  static void expectNothingOfTheKey() {
    EXPECT_FALSE(memory().anyHoldsKey());
    EXPECT_EQ(memory().givenBackWithKey(), 0);
  }

  static constexpr std::size_t content = 5'500'000;
  const Data key_ = pattern(32);
  const ScratchDirectory scratch_;
};

TEST_F(KeySchedule, IsThereWhileItIsNeeded) {
  bool wasThere = false;
  const Interrupter interrupter([&] { wasThere = wasThere || memory().anyHoldsKey(); });
  ASSERT_TRUE(encrypt());
  EXPECT_TRUE(wasThere) << "or the other tests of this file show nothing";
  wasThere = false;
  ASSERT_TRUE(decrypt("cipher"));
  EXPECT_TRUE(wasThere) << "or the other tests of this file show nothing";
}

TEST_F(KeySchedule, IsWipedAfterSuccessAndFailure) {
  CapturedLog log;
  EXPECT_TRUE(encrypt());
  EXPECT_TRUE(decrypt("cipher"));
  EXPECT_FALSE(decrypt("broken"));
  EXPECT_FALSE(Utilities::decryptFile(at("cipher"), "/dev/full", AESKeyBytes{key_}, std::nullopt));
  expectNothingOfTheKey();
}

TEST_F(KeySchedule, IsWipedWhenAnInterruptionUnwindsTheWork) {
  const Interrupter interrupter([] { throw Interruption{}; });
  EXPECT_THROW(static_cast<void>(encrypt()), Interruption);
  EXPECT_THROW(static_cast<void>(decrypt("cipher")), Interruption);
  expectNothingOfTheKey();
}

}  // namespace
}  // namespace ztp::test
