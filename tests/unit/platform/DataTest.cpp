// Buffers of secrets: nothing of them stays in memory that was given back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Data.h"
#include "tests/support/Allocations.h"

namespace ztp::test {
namespace {

TEST(Data, IsWipedBeforeItsMemoryIsGivenBack) {
  for (const std::size_t size : {1U, 16U, 4095U, 1U << 20U, 5'000'001U}) {
    auto data = std::make_optional<Data>(size, std::uint8_t{0xa5});
    const ReleaseWatch watch(data->data(), size);
    data.reset();
    EXPECT_TRUE(watch.wasReleased()) << size;
    EXPECT_TRUE(watch.wasWiped()) << size;
  }
}

TEST(Data, IsWipedWhereItStoodBeforeItGrew) {
  Data data(100, std::uint8_t{0xa5});
  const ReleaseWatch watch(data.data(), data.size());
  data.resize(100'000);
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasWiped());
}

TEST(SecretText, IsWipedBeforeItsMemoryIsGivenBack) {
  constexpr std::string_view text = "a text that is too long to be kept within the string itself";
  auto secret = std::make_optional<SecretText>(text);
  const ReleaseWatch watch(secret->data(), text.size());
  secret.reset();
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasWiped());
}

TEST(Wipe, LeavesNothingButZeros) {
  std::vector<std::uint8_t> memory(64, 0xaa);
  wipe(memory.data(), memory.size());
  EXPECT_TRUE(std::all_of(memory.begin(), memory.end(), [](auto byte) { return byte == 0; }));
}

TEST(Data, HoldsWhatItIsGiven) {
  const Data data{1, 2, 3};
  EXPECT_EQ(copyOf(DataView(data)), data);
  EXPECT_EQ(textOf(bytesOf("text")), "text");
  Data grown(data);
  grown.resize(1000);
  EXPECT_TRUE(std::equal(data.begin(), data.end(), grown.begin()));
}

TEST(ReleaseWatch, SeesWhatIsNotWiped) {
  auto bytes = std::make_optional<std::vector<std::uint8_t>>(100, std::uint8_t{0xa5});
  const ReleaseWatch watch(bytes->data(), bytes->size());
  bytes.reset();
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_FALSE(watch.wasWiped());
}

}  // namespace
}  // namespace ztp::test
