// Typed looks into what the server sent: literals of JSON in, a value, nothing or a complaint out.
#include "app/DictionaryValues.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/Error.h"

namespace ztp::test {
namespace {

constexpr std::int64_t largest = INT64_MAX;
constexpr std::int64_t smallest = INT64_MIN;

struct IntegerCase {
  std::string_view json;
  std::int64_t expected;
};

struct Complaint {
  std::string_view json, expected;
};

// What a look at "key" complains of; "nothing" when it does not.
template <typename Look>
std::string complaintOf(Look look, std::string_view json) {
  try {
    static_cast<void>(look(Dictionary::parse(json), "key"));
    return "nothing";
  } catch (const PlatformException& exception) {
    return exception.what();
  }
}

TEST(StringForKey, IsTheTextAsItStands) {
  EXPECT_EQ(stringForKey(Dictionary::parse(R"({"a":1,"key":"text"})"), "key"), "text");
  EXPECT_EQ(stringForKey(Dictionary::parse(R"({"key":""})"), "key"), "");
  EXPECT_EQ(stringForKey(Dictionary::parse(R"({"key":"a\u0000b"})"), "key"), SecretText("a\0b", 3));
}

TEST(StringForKey, IsAbsentWhereTheKeyIs) {
  EXPECT_EQ(stringForKey(Dictionary::parse("{}"), "key"), std::nullopt);
  EXPECT_EQ(stringForKey(Dictionary::parse(R"({"Key":"text","ke":"text"})"), "key"), std::nullopt);
}

TEST(StringForKey, ComplainsOfAnyOtherType) {
  for (const std::string_view json : {R"({"key":1})", R"({"key":1.5})", R"({"key":true})",
                                      R"({"key":null})", R"({"key":[]})", R"({"key":{}})"}) {
    EXPECT_EQ(complaintOf(stringForKey, json), "The value of key is not a string") << json;
  }
}

TEST(IntegerForKey, IsTheNumberAsFarAs64BitsReach) {
  for (const auto& [json, expected] : {
           IntegerCase{R"({"key":0})", 0},
           IntegerCase{R"({"key":-1})", -1},
           IntegerCase{R"({"key":9223372036854775807})", largest},
           IntegerCase{R"({"key":-9223372036854775808})", smallest},
           IntegerCase{R"({"key":9223372036854775808})", largest},
           IntegerCase{R"({"key":18446744073709551615})", largest},
           IntegerCase{R"({"key":99999999999999999999})", largest},
           IntegerCase{R"({"key":-99999999999999999999})", smallest},
       }) {
    EXPECT_EQ(integerForKey(Dictionary::parse(json), "key"), expected) << json;
  }
}

TEST(IntegerForKey, CutsFractionsOff) {
  for (const auto& [json, expected] : {
           IntegerCase{R"({"key":1.9})", 1},
           IntegerCase{R"({"key":-1.9})", -1},
           IntegerCase{R"({"key":-0.0})", 0},
           IntegerCase{R"({"key":1e3})", 1000},
           IntegerCase{R"({"key":9.3e18})", largest},
           IntegerCase{R"({"key":-9.3e18})", smallest},
           IntegerCase{R"({"key":1e300})", largest},
       }) {
    EXPECT_EQ(integerForKey(Dictionary::parse(json), "key"), expected) << json;
  }
}

TEST(IntegerForKey, CountsABooleanAsOneOrNothing) {
  EXPECT_EQ(integerForKey(Dictionary::parse(R"({"key":true})"), "key"), 1);
  EXPECT_EQ(integerForKey(Dictionary::parse(R"({"key":false})"), "key"), 0);
}

TEST(IntegerForKey, ReadsTheLeadingDigitsOfAText) {
  for (const auto& [json, expected] : {
           IntegerCase{R"({"key":"1000"})", 1000},
           IntegerCase{R"({"key":" \t\n+12 bytes"})", 12},
           IntegerCase{R"({"key":"-3"})", -3},
           IntegerCase{R"({"key":"010"})", 10},
           IntegerCase{R"({"key":"1.9"})", 1},
           IntegerCase{R"({"key":""})", 0},
           IntegerCase{R"({"key":"many"})", 0},
           IntegerCase{R"({"key":"99999999999999999999"})", largest},
           IntegerCase{R"({"key":"-99999999999999999999"})", smallest},
       }) {
    EXPECT_EQ(integerForKey(Dictionary::parse(json), "key"), expected) << json;
  }
}

TEST(IntegerForKey, IsAbsentWhereTheKeyIs) {
  EXPECT_EQ(integerForKey(Dictionary::parse(R"({"other":1})"), "key"), std::nullopt);
}

TEST(IntegerForKey, ComplainsOfWhatIsNoNumberAtAll) {
  for (const std::string_view json :
       {R"({"key":null})", R"({"key":[1]})", R"({"key":{"key":1}})"}) {
    EXPECT_EQ(complaintOf(integerForKey, json), "The value of key is not an integer") << json;
  }
}

TEST(DictionaryValues, ABodyThatIsNoDictionaryIsComplainedOf) {
  for (const std::string_view json :
       {"[]", R"(["key"])", R"([{"key":1}])", "1", "null", R"("key")"}) {
    EXPECT_EQ(complaintOf(stringForKey, json), "The body of the message is not a dictionary")
        << json;
    EXPECT_EQ(complaintOf(integerForKey, json), "The body of the message is not a dictionary")
        << json;
  }
}

}  // namespace
}  // namespace ztp::test
