// Bodies as dictionaries: what parses, what is refused and what the log says about it.
#include "protocol/Dictionary.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "platform/Data.h"
#include "protocol/MessageWriter.h"
#include "tests/support/CapturedLog.h"

namespace ztp::test {
namespace {

std::string repeated(std::string_view text, int count) {
  std::string result;
  for (int index = 0; index < count; ++index) result += text;
  return result;
}

std::string nestedArrays(int levels) {
  return repeated("[", levels) + repeated("]", levels);
}

std::string nestedObjects(int levels) {
  return repeated("{\"a\":", levels - 1) + "{}" + repeated("}", levels - 1);
}

// The body decoded and written again; "(absent)" when it does not parse.
std::string decoded(std::string_view body) {
  MessageWriter message;
  message.bodyData = copyOf(bytesOf(body));
  const auto dictionary = message.bodyDataAsDictionary();
  return dictionary ? std::string(dictionary->dump()) : "(absent)";
}

std::string logOfDecoding(std::string_view body) {
  const CapturedLog log;
  EXPECT_EQ(decoded(body), "(absent)");
  return log.text();
}

TEST(BodyAsDictionary, IsEmptyWithoutABodyInMemory) {
  MessageWriter message;
  EXPECT_EQ(message.bodyDataAsDictionary()->dump(), "{}");
  message.bodyData = Data{};
  EXPECT_EQ(message.bodyDataAsDictionary()->dump(), "{}");
}

TEST(BodyAsDictionary, IsEmptyForABodyInAFile) {
  MessageWriter message;
  message.bodyFilePath = "/t/03-OutputArchive";
  EXPECT_EQ(message.bodyDataAsDictionary()->dump(), "{}");
}

TEST(BodyAsDictionary, KeepsTheOrderOfKeys) {
  EXPECT_EQ(decoded(R"({"b":1,"a":"x","c":null})"), R"({"b":1,"a":"x","c":null})");
}

TEST(BodyAsDictionary, TakesAnyJsonObject) {
  EXPECT_EQ(decoded(" { } "), "{}");
  EXPECT_EQ(decoded(R"({"a" : "\u00e9\n" })"), "{\"a\":\"\u00e9\\n\"}");
  EXPECT_EQ(decoded(R"({"a":1,"a":2})"), R"({"a":2})") << "the last of two equal keys holds";
  EXPECT_EQ(decoded(R"({"a":18446744073709551616})"), R"({"a":1.8446744073709552e+19})");
}

// Callers look at what they got: an array is not a failure of this layer.
TEST(BodyAsDictionary, GivesAnArrayAsItIs) {
  EXPECT_EQ(decoded("[1,[2]]"), "[1,[2]]");
}

TEST(BodyAsDictionary, IsAbsentWhenTheBodyDoesNotParse) {
  EXPECT_EQ(logOfDecoding("{"), "JSON: not valid at byte 2\n");
  EXPECT_EQ(logOfDecoding("{\"a\":tru}"), "JSON: not valid at byte 9\n");
  EXPECT_EQ(logOfDecoding("{} x"), "JSON: not valid at byte 4\n");
  EXPECT_EQ(logOfDecoding("{} {}"), "JSON: not valid at byte 4\n");
  EXPECT_EQ(logOfDecoding("{'a':1}"), "JSON: not valid at byte 2\n");
  EXPECT_EQ(logOfDecoding("/**/{}"), "JSON: not valid at byte 1\n");
  EXPECT_EQ(logOfDecoding(std::string_view("{}\0", 3)), "JSON: not valid at byte 3\n");
  EXPECT_EQ(logOfDecoding("{\"a\":\"\xff\"}"), "JSON: not valid at byte 7\n");
  EXPECT_EQ(logOfDecoding(R"({"a":1e999})"), "JSON: a number is out of range\n");
}

TEST(BodyAsDictionary, IsAbsentForAValueThatIsNeitherObjectNorArray) {
  for (const std::string_view body : {"1", "\"text\"", "true", "null"}) {
    EXPECT_EQ(logOfDecoding(body), "JSON: the outermost value is neither an object nor an array\n")
        << body;
  }
}

TEST(BodyAsDictionary, TakesSixtyFourLevels) {
  EXPECT_EQ(decoded(nestedArrays(64)), nestedArrays(64));
  EXPECT_EQ(decoded(nestedObjects(64)), nestedObjects(64));
}

TEST(BodyAsDictionary, RefusesDeeperNestingWhileParsing) {
  constexpr std::string_view refusal = "JSON: nested deeper than 64 levels\n";
  EXPECT_EQ(logOfDecoding(nestedArrays(65)), refusal);
  EXPECT_EQ(logOfDecoding(nestedObjects(65)), refusal);
  EXPECT_EQ(logOfDecoding("{\"a\":" + nestedArrays(64) + "}"), refusal);
  EXPECT_EQ(logOfDecoding(repeated("[", 1'000'000)), refusal) << "the end is never looked for";
}

// A body may hold keys: the reason names the place and quotes nothing.
TEST(BodyAsDictionary, LogsNothingOfTheBody) {
  EXPECT_EQ(logOfDecoding("{\"outputArchiveIV\":\"c2VjcmV0\" c2VjcmV0}").find("c2VjcmV0"),
            std::string::npos);
}

// Whoever acts on a message may have its body without a copy.
TEST(TakenBody, IsTheBodyItselfAndLeavesNone) {
  MessageWriter message;
  message.bodyData = copyOf(bytesOf("body"));
  const auto* const place = message.bodyData->data();
  const auto body = message.takeBodyData();
  ASSERT_TRUE(body.has_value());
  EXPECT_EQ(textOf(*body), "body");
  EXPECT_EQ(body->data(), place);
  EXPECT_FALSE(message.bodyData.has_value());
  EXPECT_FALSE(message.takeBodyData().has_value());
}

TEST(JsonFromDictionary, IsCompactAndInOrderOfInsertion) {
  Dictionary dictionary;
  dictionary["reason"] = "a/b \"c\" \u00e9";
  dictionary["code"] = 3;
  dictionary["all"] = {1, 2};
  EXPECT_EQ(textOf(jsonFromDictionary(dictionary).value()),
            "{\"reason\":\"a/b \\\"c\\\" \u00e9\",\"code\":3,\"all\":[1,2]}");
}

TEST(JsonFromDictionary, RefusesTextThatIsNotUtf8) {
  Dictionary dictionary;
  dictionary["reason"] = "\xc3(";
  EXPECT_EQ(jsonFromDictionary(dictionary).error().description, "JSON: a text is not UTF-8");
}

TEST(JsonFromDictionary, RefusesWhatIsNoContainer) {
  EXPECT_EQ(jsonFromDictionary(Dictionary(3)).error().description,
            "JSON: neither an object nor an array");
}

}  // namespace
}  // namespace ztp::test
