// Headers that fit their buffer and headers that do not.
#include "platform/TruncatedHeader.h"

#include <string_view>

#include <gtest/gtest.h>

namespace ztp::test {
namespace {

using namespace std::string_view_literals;

TEST(TruncatedHeader, IsTheHeaderWhenItFitsWithANul) {
  EXPECT_EQ(truncatedHeader("0\n", 11), "0\n");
  EXPECT_EQ(truncatedHeader("999999999\n", 11), "999999999\n");
  EXPECT_EQ(truncatedHeader("f999999999\n", 12), "f999999999\n");
}

TEST(TruncatedHeader, EndsInANulWhenItDoesNot) {
  EXPECT_EQ(truncatedHeader("1000000000\n", 11), "1000000000\0"sv);
  EXPECT_EQ(truncatedHeader("f1000000000\n", 12), "f1000000000\0"sv);
  EXPECT_EQ(truncatedHeader("f18446744073709551615\n", 12), "f1844674407\0"sv);
}

}  // namespace
}  // namespace ztp::test
