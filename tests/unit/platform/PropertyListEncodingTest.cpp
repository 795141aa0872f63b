// Property lists in the encodings that their writers choose: what is read of each, and what is
// refused.
#include <gtest/gtest.h>

#include "platform/ApplicationBundle.h"
#include "platform/PropertyList.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using std::literals::operator""sv;

constexpr std::string_view marked = "\xef\xbb\xbf";

std::optional<PropertyList> read(std::string_view text) {
  return PropertyList::fromData(bytesOf(text));
}

// The text under "k", "absent" where there is no list.
std::string found(std::string_view bytes) {
  const auto list = read(bytes);
  return list ? list->string("k").value_or("no text") : "absent";
}

std::string listWith(std::string_view value, std::string_view declaration = "") {
  return std::string(declaration) + "<plist version=\"1.0\"><dict><key>k</key><string>" +
         std::string(value) + "</string></dict></plist>\n";
}

std::string declaring(std::string_view encoding, std::string_view value) {
  return listWith(value, "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>\n");
}

enum class Order { littleEndian, bigEndian };

void append(std::string& bytes, char16_t unit, Order order) {
  const auto high = static_cast<char>(unit >> 8U);
  const auto low = static_cast<char>(unit & 0xffU);
  bytes += order == Order::bigEndian ? high : low;
  bytes += order == Order::bigEndian ? low : high;
}

// A list in UTF-16 with its byte order mark; `value` stands in it as it is.
std::string utf16ListWith(std::u16string_view value, Order order,
                          std::string_view declaration = "") {
  const std::string list = listWith("|", declaration);
  std::string bytes;
  append(bytes, u'\ufeff', order);
  for (const char character : list) {
    if (character != '|') {
      append(bytes, static_cast<char16_t>(character), order);
      continue;
    }
    for (const char16_t unit : value) append(bytes, unit, order);
  }
  return bytes;
}

TEST(PropertyListEncoding, IsUtf8WithAndWithoutAByteOrderMark) {
  const std::string plain = listWith("gr\u00fc\u00df \U0001f600");
  EXPECT_EQ(found(plain), "gr\u00fc\u00df \U0001f600");
  EXPECT_EQ(found(std::string(marked) + plain), "gr\u00fc\u00df \U0001f600");
  EXPECT_EQ(found(std::string(marked) + declaring("UTF-8", "\u00fc")), "\u00fc");
  EXPECT_EQ(found(declaring("utf-8", "\u00fc")), "\u00fc");
}

TEST(PropertyListEncoding, IsUtf16WithAByteOrderMark) {
  for (const Order order : {Order::littleEndian, Order::bigEndian}) {
    EXPECT_EQ(found(utf16ListWith(u"gr\u00fc\u00df \u20ac \U0001f600", order)),
              "gr\u00fc\u00df \u20ac \U0001f600");
    constexpr auto declaration = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n"sv;
    EXPECT_EQ(found(utf16ListWith(u"\u20ac", order, declaration)), "\u20ac");
  }
}

TEST(PropertyListEncoding, IsTheOneThatTheDeclarationNames) {
  EXPECT_EQ(found(declaring("ISO-8859-1", "gr\xfc\xdf")), "gr\u00fc\u00df");
  EXPECT_EQ(found(declaring("iso-8859-1", "\xa0")), "\u00a0");
  EXPECT_EQ(found(declaring("latin1", "\xfc")), "\u00fc");
  EXPECT_EQ(found(declaring("US-ASCII", "text")), "text");
  EXPECT_EQ(found(listWith("\xe9", "<?xml version='1.0' encoding = 'ISO-8859-1' ?>")), "\u00e9");
}

TEST(PropertyListEncoding, IsThatOfTheByteOrderMarkWhateverIsDeclared) {
  EXPECT_EQ(found(std::string(marked) + declaring("ISO-8859-1", "\u00fc")), "\u00fc");
  constexpr auto declaration = "<?xml version=\"1.0\" encoding=\"US-ASCII\"?>\n"sv;
  EXPECT_EQ(found(utf16ListWith(u"\u00fc", Order::bigEndian, declaration)), "\u00fc");
}

TEST(PropertyListEncoding, AWordOutsideTheDeclarationNamesNone) {
  constexpr auto comment = "<!-- encoding=\"ISO-8859-1\" -->"sv;
  EXPECT_EQ(found(listWith("\u00fc", comment)), "\u00fc");
  EXPECT_EQ(found(listWith("\u00fc", "<?xml version=\"1.0\"?><!-- encoding=\"US-ASCII\" -->")),
            "\u00fc");
}

TEST(PropertyListEncoding, OfBytesThatAreNotOfTheirEncodingThereIsNoList) {
  EXPECT_EQ(found(listWith("\xfc")), "absent");
  EXPECT_EQ(found(std::string(marked) + listWith("\xfc")), "absent");
  EXPECT_EQ(found(declaring("UTF-8", "\xc3")), "absent");
  EXPECT_EQ(found(declaring("US-ASCII", "\xfc")), "absent");
  for (const Order order : {Order::littleEndian, Order::bigEndian}) {
    EXPECT_EQ(found(utf16ListWith(u"\xd83d", order)), "absent") << "half a surrogate pair";
    EXPECT_EQ(found(utf16ListWith(u"", order) + std::string(1, 0)), "absent") << "half a character";
  }
}

TEST(PropertyListEncoding, OfAnyOtherEncodingThereIsNoList) {
  for (const auto* name : {"UTF-16", "UTF-7", "windows-1252", "ISO-2022-CN-EXT", "UTF-8//IGNORE",
                           "", "no such thing"}) {
    EXPECT_EQ(found(declaring(name, "text")), "absent") << name;
  }
  EXPECT_EQ(found(utf16ListWith(u"text", Order::bigEndian).substr(2)), "absent") << "no mark";
  EXPECT_EQ(found(std::string("\xff\xfe\0\0", 4) + utf16ListWith(u"", Order::littleEndian)),
            "absent")
      << "UTF-32";
  EXPECT_EQ(found("\xef\xbb\xbf"), "absent");
  EXPECT_EQ(found("\xff\xfe"), "absent");
}

TEST(PropertyListEncoding, IsKnownInTheInformationOfABundleToo) {
  const ScratchDirectory scratch;
  fill(scratch / "Info.plist", utf16ListWith(u"gr\u00fc\u00df", Order::bigEndian));
  EXPECT_EQ(ApplicationBundle(scratch.path()).objectForInfoDictionaryKey("k"), "gr\u00fc\u00df");
}

}  // namespace
}  // namespace ztp::test
