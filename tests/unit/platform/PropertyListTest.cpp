// Property lists: the written form byte for byte, and what reading makes of good and bad ones.
#include "platform/PropertyList.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/ApplicationBundle.h"

namespace ztp::test {
namespace {

using std::literals::operator""sv;

constexpr std::string_view prologue =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

std::string document(std::string_view content) {
  return std::string(prologue) + std::string(content) + "</plist>\n";
}

std::optional<PropertyList> read(std::string_view text) {
  return PropertyList::fromData(bytesOf(text));
}

TEST(XmlPropertyList, SortsKeysAndIndentsWithTabs) {
  const auto xml = xmlPropertyList({{"progressValue", std::uint64_t{5}},
                                    {"messageType", "progressSection"},
                                    {"progressTitle", "Canceling..."}});
  EXPECT_EQ(xml.value(), document("<dict>\n"
                                  "\t<key>messageType</key>\n"
                                  "\t<string>progressSection</string>\n"
                                  "\t<key>progressTitle</key>\n"
                                  "\t<string>Canceling...</string>\n"
                                  "\t<key>progressValue</key>\n"
                                  "\t<integer>5</integer>\n"
                                  "</dict>\n"));
}

TEST(XmlPropertyList, EscapesMarkupAndKeepsOtherLetters) {
  const auto xml = xmlPropertyList({{"k", "<a> & \"b\" \u00e9"}}).value();
  EXPECT_NE(xml.find("<string>&lt;a&gt; &amp; \"b\" \u00e9</string>"), std::string::npos) << xml;
}

TEST(XmlPropertyList, WritesNumbersOf63Bits) {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  const auto xml = xmlPropertyList({{"k", largest}}).value();
  EXPECT_NE(xml.find("<integer>9223372036854775807</integer>"), std::string::npos) << xml;
  EXPECT_FALSE(xmlPropertyList({{"k", largest + 1}}).has_value());
}

TEST(XmlPropertyList, RefusesTextThatXmlCannotCarry) {
  for (const auto text : {"\xff"sv, "\x01"sv, "a\0b"sv}) {
    EXPECT_FALSE(xmlPropertyList({{"k", std::string(text)}}).has_value());
    EXPECT_FALSE(xmlPropertyList({{std::string(text), "v"}}).has_value());
  }
}

struct IntegerCase {
  std::string_view value;
  std::int64_t expected;
};

constexpr IntegerCase integers[] = {
    {"<integer>3</integer>", 3},
    {"<integer>-1</integer>", -1},
    {"<real>2.9</real>", 2},
    {"<real>-2.9</real>", -2},
    {"<real>1e300</real>", std::numeric_limits<std::int64_t>::max()},
    {"<true/>", 1},
    {"<false/>", 0},
    {"<string>17 and more</string>", 17},
    {"<string></string>", 0}};

TEST(PropertyList, TakesIntegersFromNumbersBooleansAndText) {
  for (const auto& [value, expected] : integers) {
    const auto list = read(document("<dict><key>k</key>" + std::string(value) + "</dict>"));
    ASSERT_TRUE(list) << value;
    EXPECT_EQ(list->integer("k"), expected) << value;
  }
}

TEST(PropertyList, RaisesForValuesOfTheWrongType) {
  const auto list =
      read(document("<dict><key>a</key><array/><key>i</key><integer>1</integer></dict>"));
  ASSERT_TRUE(list);
  EXPECT_THROW(static_cast<void>(list->integer("a")), PlatformException);
  EXPECT_THROW(static_cast<void>(list->string("a")), PlatformException);
  EXPECT_THROW(static_cast<void>(list->string("i")), PlatformException);
  EXPECT_EQ(list->integer("missing"), std::nullopt);
  EXPECT_EQ(list->string("missing"), std::nullopt);
}

// {"k": "a\0b"} in UTF-16: the library's copying getter ends the process on it.
constexpr std::string_view binaryWithNul =
    "bplist00"
    "\xd1\x01\x02"
    "\x51k"
    "\x63\0a\0\0\0b"
    "\x08\x0b\x0d"
    "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x14"sv;

TEST(PropertyList, EndsATextAtItsFirstNul) {
  const auto list = read(binaryWithNul);
  ASSERT_TRUE(list);
  EXPECT_EQ(list->string("k"), "a");
}

// An array that contains itself.
constexpr std::string_view binaryLoop =
    "bplist00"
    "\xa1\0"
    "\x08"
    "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x0a"sv;

TEST(PropertyList, IsAbsentForWhatIsNoDictionary) {
  EXPECT_FALSE(read(""));
  EXPECT_FALSE(read("no property list at all"));
  EXPECT_FALSE(read("bplist00"));
  EXPECT_FALSE(read(document("<array><integer>1</integer></array>")));
  EXPECT_FALSE(read(document("<string>text</string>")));
  EXPECT_FALSE(read(binaryLoop));
  EXPECT_FALSE(PropertyList::fromFile("/nonexistent/Result.plist"));
}

TEST(PropertyList, RefusesMoreThanItsLimit) {
  const std::string frame = document("<dict><key>k</key><string></string></dict>");
  const auto ofSize = [&](std::size_t size) {
    return document("<dict><key>k</key><string>" + std::string(size - frame.size(), 'x') +
                    "</string></dict>");
  };
  EXPECT_TRUE(read(ofSize(PropertyList::maximumSize)));
  EXPECT_FALSE(read(ofSize(PropertyList::maximumSize + 1)));
}

// A document with entities of its own, each ten times the one before, and one that names a file.
std::string withEntities(std::string_view text) {
  return R"(<?xml version="1.0"?><!DOCTYPE plist [<!ENTITY a "aaaaaaaaaa">)"
         R"(<!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;"><!ENTITY f SYSTEM "file:///etc/passwd">]>)"
         R"(<plist version="1.0"><dict><key>k</key><string>)" +
         std::string(text) + "</string></dict></plist>";
}

TEST(PropertyList, RefusesTheEntitiesOfADocument) {
  EXPECT_TRUE(read(withEntities("text &amp; more")));
  EXPECT_FALSE(read(withEntities("&a;")));
  EXPECT_FALSE(read(withEntities("&b;")));
  EXPECT_FALSE(read(withEntities("&f;")));
}

TEST(PropertyList, ReadsWhatStandsBehindTheDeepestNestingThatFits) {
  constexpr std::size_t depth = 17'000;
  std::string list = "<dict><key>deep</key>";
  for (std::size_t level = 0; level < depth; ++level) list += "<array>";
  for (std::size_t level = 0; level < depth; ++level) list += "</array>";
  const auto found = read(document(list + "<key>k</key><string>v</string></dict>"));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->string("k"), "v");
}

TEST(ApplicationBundle, AnswersNothingWhereThereIsNoBundle) {
  const ApplicationBundle bundle("/nonexistent/Host.app");
  EXPECT_EQ(bundle.bundleIdentifier(), "");
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleVersion"), "");
}

}  // namespace
}  // namespace ztp::test
