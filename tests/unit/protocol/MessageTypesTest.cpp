// The table of types, serial numbers, headers and the names of body files.
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "protocol/MessageWriter.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;
using Type = ZanburyToolProxyMessageType;

// Before any test, and so before any other message of this process.
const std::array<std::int64_t, 2> firstMessageIds = {MessageWriter().messageId,
                                                     MessageWriter().messageId};

struct TypeRow {
  int value;
  std::string_view name;
  char rawValue;
};

constexpr std::array<TypeRow, 12> typeTable = {{
    {0, "None", '.'},
    {1, "Error", '!'},
    {2, "ServerHello", 'h'},
    {3, "ClientHandshake", 'c'},
    {4, "ServerHandshake", 's'},
    {5, "InputArchive", 'i'},
    {6, "InputArchiveAcknowledgement", 'I'},
    {7, "ServerWillStartForwarding", '['},
    {8, "Forward", 'f'},
    {9, "ServerDidStopForwarding", ']'},
    {10, "OutputArchive", 'o'},
    {11, "OutputArchiveAcknowledgement", 'O'},
}};

std::string header(Type type, std::uint64_t length) {
  const auto data = Message::headerDataWithType(type, length);
  return data ? std::string(textOf(*data)) : "(absent)";
}

TEST(MessageTypes, EachHasItsNameAndCharacter) {
  for (const auto& row : typeTable) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Message::stringForMessageType(static_cast<Type>(row.value)), row.name);
    EXPECT_EQ(Message::rawValueForMessageType(static_cast<Type>(row.value)), row.rawValue);
  }
}

TEST(MessageTypes, ValuesOutsideTheTableCountAsNone) {
  for (const int value : {12, 13, 128, 255}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(Message::stringForMessageType(static_cast<Type>(value)), "None");
    EXPECT_EQ(Message::rawValueForMessageType(static_cast<Type>(value)), '.');
  }
}

TEST(MessageTypes, EachCharacterLeadsBackToItsType) {
  for (const auto& row : typeTable) {
    SCOPED_TRACE(row.name);
    auto type = static_cast<Type>(99);
    EXPECT_TRUE(Message::getMessageType(&type, static_cast<std::uint8_t>(row.rawValue)));
    EXPECT_EQ(static_cast<int>(type), row.value);
  }
}

TEST(MessageTypes, OnlyTheTwelveCharactersAreTypes) {
  int found = 0;
  for (int byte = 0; byte < 256; ++byte) {
    auto type = static_cast<Type>(99);
    if (Message::getMessageType(&type, static_cast<std::uint8_t>(byte))) {
      ++found;
    } else {
      EXPECT_EQ(static_cast<int>(type), 99) << "changed by byte " << byte;
    }
  }
  EXPECT_EQ(found, 12);
}

TEST(MessageTypes, ACharacterNeedsSomewhereToPutItsType) {
  EXPECT_FALSE(Message::getMessageType(nullptr, 'h'));
}

TEST(MessageHeader, IsTypeDecimalLengthAndLineFeed) {
  EXPECT_EQ(header(Type::ServerHello, 0), "h0\n");
  EXPECT_EQ(header(Type::None, 7), ".7\n");
  EXPECT_EQ(header(Type::Forward, 123), "f123\n");
  EXPECT_EQ(header(Type::OutputArchive, 999'999'999), "o999999999\n");
}

TEST(MessageHeader, WithTenDigitsOrMoreEndsInNulAtTheTwelfthByte) {
  using namespace std::string_view_literals;
  EXPECT_EQ(header(Type::OutputArchive, 1'000'000'000), "o1000000000\0"sv);
  EXPECT_EQ(header(Type::InputArchive, 9'999'999'999), "i9999999999\0"sv);
  EXPECT_EQ(header(Type::InputArchive, 18'446'744'073'709'551'615U), "i1844674407\0"sv);
}

TEST(MessageIds, CountFromOneInAProcess) {
  EXPECT_EQ(firstMessageIds, (std::array<std::int64_t, 2>{1, 2}));
}

TEST(MessageIds, FollowEachOther) {
  const MessageWriter first;
  const MessageWriter second;
  EXPECT_EQ(second.messageId, first.messageId + 1);
  EXPECT_EQ(Message::nextMessageId(), second.messageId + 1);
}

TEST(NewMessage, StartsEmpty) {
  const MessageWriter message;
  EXPECT_EQ(message.state, ZanburyToolProxyMessageState::None);
  EXPECT_EQ(message.type, Type::None);
  EXPECT_EQ(message.length, 0U);
  EXPECT_FALSE(message.bodyData.has_value());
  EXPECT_FALSE(message.bodyFilePath.has_value());
}

TEST(BodyFileName, IsTwoDigitsOfTheIdAndTheTypesName) {
  const std::filesystem::path directory = "/t";
  const auto path = [&directory](Type type, std::int64_t messageId) {
    return Message::newPathForReadingType(type, messageId, &directory);
  };
  EXPECT_EQ(path(Type::OutputArchive, 3), "/t/03-OutputArchive");
  EXPECT_EQ(path(Type::InputArchive, 12), "/t/12-InputArchive");
  EXPECT_EQ(path(Type::OutputArchive, 123), "/t/123-OutputArchive");
}

TEST(BodyFileName, IsThereForTheTwoArchivesOnly) {
  const std::filesystem::path directory = "/t";
  int archives = 0;
  for (const auto& row : typeTable) {
    if (Message::newPathForReadingType(static_cast<Type>(row.value), 1, &directory)) ++archives;
  }
  EXPECT_EQ(archives, 2);
  EXPECT_EQ(Message::newPathForReadingType(Type::Forward, 1, &directory), std::nullopt);
}

TEST(BodyFileName, NeedsADirectory) {
  EXPECT_EQ(Message::newPathForReadingType(Type::OutputArchive, 1, nullptr), std::nullopt);
}

}  // namespace
}  // namespace ztp::test
