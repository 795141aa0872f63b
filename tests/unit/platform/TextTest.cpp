// The string operations, as tables of texts.
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <limits>

namespace ztp::test {
namespace {

using std::literals::operator""sv;
using Pieces = std::vector<std::string>;

TEST(Text, SplitsAtEverySeparator) {
  EXPECT_EQ(split("", ','), Pieces{""});
  EXPECT_EQ(split("a", ','), Pieces{"a"});
  EXPECT_EQ(split("a,b", ','), (Pieces{"a", "b"}));
  EXPECT_EQ(split(",a,,b,", ','), (Pieces{"", "a", "", "b", ""}));
}

TEST(Text, TrimsWhiteSpaceAndNewlinesAtBothEnds) {
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed(" \t\r\n\v\f"), "");
  EXPECT_EQ(trimmed("  a b\n"), "a b");
  EXPECT_EQ(trimmed("\u00a0\u2003a\u3000\u2028"), "a");
  EXPECT_EQ(trimmed("\u200b"), "\u200b") << "a zero-width space is not a separator";
  EXPECT_EQ(trimmed("\xa0"), "\xa0") << "half a character is none";
}

TEST(Text, ReadsTheIntegerAtTheFront) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(leadingInteger("5s"), 5);
  EXPECT_EQ(leadingInteger("x"), 0);
  EXPECT_EQ(leadingInteger(""), 0);
  EXPECT_EQ(leadingInteger(" \t42 17"), 42);
  EXPECT_EQ(leadingInteger("+7"), 7);
  EXPECT_EQ(leadingInteger("-7.9"), -7);
  EXPECT_EQ(leadingInteger("- 7"), 0);
  EXPECT_EQ(leadingInteger("--7"), 0);
  EXPECT_EQ(leadingInteger("0x10"), 0);
  EXPECT_EQ(leadingInteger("9223372036854775807"), Limits::max());
  EXPECT_EQ(leadingInteger("9223372036854775808"), Limits::max());
  EXPECT_EQ(leadingInteger("-9223372036854775808"), Limits::min());
  EXPECT_EQ(leadingInteger("-99999999999999999999"), Limits::min());
}

struct Sequence {
  std::string_view bytes;
  std::size_t length;
};

// The boundaries of RFC 3629's grammar.
constexpr Sequence sequences[] = {{"\0"sv, 1},
                                  {"\x7f"sv, 1},
                                  {"\x80"sv, 0},
                                  {"\xc1\xbf"sv, 0},
                                  {"\xc2\x80"sv, 2},
                                  {"\xdf\xbf"sv, 2},
                                  {"\xc3"sv, 0},
                                  {"\xc3\x28"sv, 0},
                                  {"\xe0\x9f\xbf"sv, 0},
                                  {"\xe0\xa0\x80"sv, 3},
                                  {"\xed\x9f\xbf"sv, 3},
                                  {"\xed\xa0\x80"sv, 0},
                                  {"\xef\xbf\xbf"sv, 3},
                                  {"\xe2\x82"sv, 0},
                                  {"\xe2\x82\x28"sv, 0},
                                  {"\xf0\x8f\xbf\xbf"sv, 0},
                                  {"\xf0\x90\x80\x80"sv, 4},
                                  {"\xf4\x8f\xbf\xbf"sv, 4},
                                  {"\xf4\x90\x80\x80"sv, 0},
                                  {"\xf5\x80\x80\x80"sv, 0},
                                  {"\xff"sv, 0},
                                  {""sv, 0}};

TEST(Text, KnowsWellFormedUtf8) {
  for (const auto& [bytes, length] : sequences) {
    EXPECT_EQ(utf8SequenceLength(bytes), length) << testing::PrintToString(bytes);
    EXPECT_EQ(isUtf8(bytes), length > 0 || bytes.empty()) << testing::PrintToString(bytes);
  }
}

TEST(Text, ReplacesWhatIsNoUtf8ByteByByte) {
  EXPECT_EQ(toValidUtf8("a\xffz"), "a\ufffdz");
  EXPECT_EQ(toValidUtf8("\xe2\x82"), "\ufffd\ufffd");
  EXPECT_EQ(toValidUtf8("gr\u00fc\u00df"), "gr\u00fc\u00df");
}

}  // namespace
}  // namespace ztp::test
