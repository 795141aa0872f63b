// Bytes as base64 text and back.
#include <gtest/gtest.h>

#include "tests/unit/util/Bytes.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using namespace std::string_view_literals;
using Utilities = ZanburyToolProxyUtilities;

std::string encoded(std::string_view text) {
  return std::string(Utilities::stringWithEncodedData(bytesOf(text)));
}
std::string decoded(std::string_view text) {
  return textShown(Utilities::decodedDataWithString(text));
}

TEST(Base64, NothingAndNoBytesEncodeToTheEmptyText) {
  EXPECT_EQ(Utilities::stringWithEncodedData(std::nullopt), "");
  EXPECT_EQ(Utilities::stringWithEncodedData(DataView{}), "");
}

struct Pair {
  std::string_view bytes, text;
};

// RFC 4648, section 10.
constexpr Pair vectors[] = {{"f", "Zg=="},        {"fo", "Zm8="},        {"foo", "Zm9v"},
                            {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
                            {"abc", "YWJj"}};

TEST(Base64, EncodesThePublishedVectors) {
  for (const auto& [bytes, text] : vectors) EXPECT_EQ(encoded(bytes), text);
}

TEST(Base64, DecodesThePublishedVectors) {
  for (const auto& [bytes, text] : vectors) EXPECT_EQ(decoded(text), bytes);
}

TEST(Base64, UsesTheStandardAlphabet) {
  EXPECT_EQ(Utilities::stringWithEncodedData(hex("fbff bf")), "+/+/");
  EXPECT_EQ(shown(Utilities::decodedDataWithString("+/+/")), "fbffbf");
}

TEST(Base64, OfAHundredBytesIsOneLine) {
  const auto text = Utilities::stringWithEncodedData(pattern(100));
  EXPECT_EQ(text.size(), 136U);
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

TEST(Base64, NothingAndTheEmptyTextDecodeToNothing) {
  EXPECT_FALSE(Utilities::decodedDataWithString(std::nullopt).has_value());
  EXPECT_FALSE(Utilities::decodedDataWithString("").has_value());
}

TEST(Base64, CharactersOutsideTheAlphabetAreIgnored) {
  for (const std::string_view text :
       {"YW Jj"sv, "YW\r\nJj\r\n"sv, "\tYWJj\t"sv, "Y-W_J.j"sv, "YW\0Jj"sv, "YW\xc3\xa4Jj"sv}) {
    EXPECT_EQ(decoded(text), "abc");
  }
  EXPECT_EQ(decoded("Zg = \n ="), "f");
}

TEST(Base64, ATextOfIgnoredCharactersOnlyDecodesToNoBytes) {
  for (const std::string_view text : {" ", "\r\n", "!!!!"}) {
    EXPECT_EQ(Utilities::decodedDataWithString(text).value().size(), 0U);
  }
}

TEST(Base64, WhatIsNotPaddedRightDoesNotDecode) {
  for (const std::string_view text : {"Z", "Zg", "Zg=", "Zg===", "Zm8", "Zm8==", "Zm9v=", "Zm9v==",
                                      "=", "==", "====", "=Zm9v", "Zg==Zg==", "Zm=9", "Z==="}) {
    EXPECT_EQ(decoded(text), "nothing") << text;
  }
}

TEST(Base64, LongDataGoesThereAndBack) {
  for (const std::size_t size : {std::size_t{3'145'727}, std::size_t{3'145'728},
                                 std::size_t{3'145'729}, std::size_t{7'000'000}}) {
    const Data data = pattern(size);
    const auto text = Utilities::stringWithEncodedData(data);
    EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
    EXPECT_EQ(Utilities::decodedDataWithString(text), data) << size;
  }
}

}  // namespace
}  // namespace ztp::test
