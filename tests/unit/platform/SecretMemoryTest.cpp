// The memory of secrets, as far as it may be looked at: what is still held when all of it is wiped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Data.h"

namespace ztp {
namespace {

TEST(SecretMemory, HoldsNothingButZerosOnceAllOfItIsWiped) {
  constexpr std::size_t sizes[] = {
      1, 16, 4095, 1U << 20U, (1U << 20U) + 1, SecretMemory::hugePageCapacity, 5'000'001};
  // From one byte to pieces whose whole pages are handed back, with an odd rest behind them.
  std::vector<Data> held;
  for (const std::size_t size : sizes) held.emplace_back(size, std::uint8_t{0xa5});
  SecretText text("a text that is too long to be kept within the string itself");
  SecretMemory::wipeAll();
  for (const auto& data : held) {
    EXPECT_EQ(std::count(data.begin(), data.end(), 0), static_cast<std::ptrdiff_t>(data.size()))
        << data.size();
  }
  EXPECT_EQ(std::count(text.begin(), text.end(), '\0'), static_cast<std::ptrdiff_t>(text.size()));
}

TEST(SecretMemory, CanBeLetGoOfInAnyOrder) {
  auto first = std::make_unique<Data>(10, std::uint8_t{1});
  auto second = std::make_unique<Data>(20, std::uint8_t{2});
  auto third = std::make_unique<Data>(30, std::uint8_t{3});
  second.reset();
  first.reset();
  const Data fourth(40, std::uint8_t{4});
  SecretMemory::wipeAll();
  EXPECT_EQ(*third, Data(30, std::uint8_t{0}));
  EXPECT_EQ(fourth, Data(40, std::uint8_t{0}));
}

TEST(SecretMemory, ABlockThatFillsAHugePageHasItForItselfToTheLastByte) {
  constexpr std::size_t capacity = SecretMemory::hugePageCapacity;
  std::vector<Data> held;
  for (std::uint8_t value = 1; value <= 5; ++value) held.emplace_back(capacity, value);
  held.erase(held.begin() + 1);
  held.emplace_back(capacity, std::uint8_t{6});
  for (const Data& data : held) {
    const auto end = reinterpret_cast<std::uintptr_t>(data.data() + data.size());
    EXPECT_EQ(end % SecretMemory::hugePageSize, 0U);
    EXPECT_EQ(std::count(data.begin(), data.end(), data.front()),
              static_cast<std::ptrdiff_t>(capacity));
  }
}

}  // namespace
}  // namespace ztp
