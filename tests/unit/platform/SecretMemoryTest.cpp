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
  std::vector<Data> held;
  for (const std::size_t size : {1U, 16U, 4095U, 1U << 20U, 5'000'001U})
    held.emplace_back(size, std::uint8_t{0xa5});
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

}  // namespace
}  // namespace ztp
