// What does not depend on reading or writing: the table of types, serial numbers, the header, and
// what can be done with a body.
#include "protocol/ZanburyToolProxyMessage.h"

#include <array>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/Log.h"
#include "platform/TruncatedHeader.h"

namespace ztp {
namespace {

using Type = ZanburyToolProxyMessageType;

// Indexed by the type's value minus 1. None and invalid types stand outside.
constexpr std::array<std::string_view, 11> typeNames = {
    "Error",
    "ServerHello",
    "ClientHandshake",
    "ServerHandshake",
    "InputArchive",
    "InputArchiveAcknowledgement",
    "ServerWillStartForwarding",
    "Forward",
    "ServerDidStopForwarding",
    "OutputArchive",
    "OutputArchiveAcknowledgement",
};
constexpr std::string_view rawValues = "!hcsiI[f]oO";
static_assert(typeNames.size() == rawValues.size());

constexpr std::string_view nameOfNone = "None";
constexpr std::uint8_t rawValueOfNone = '.';

constexpr std::size_t headerBufferSize = 12;

// The type's place in the tables; absent outside them.
std::optional<std::size_t> tableIndex(Type type) {
  const auto value = static_cast<std::size_t>(type);
  if (value == 0 || value > typeNames.size()) return std::nullopt;
  return value - 1;
}

}  // namespace

std::string_view ZanburyToolProxyMessage::stringForMessageType(Type type) {
  const auto index = tableIndex(type);
  return index ? typeNames.at(*index) : nameOfNone;
}

std::uint8_t ZanburyToolProxyMessage::rawValueForMessageType(Type type) {
  const auto index = tableIndex(type);
  return index ? static_cast<std::uint8_t>(rawValues[*index]) : rawValueOfNone;
}

bool ZanburyToolProxyMessage::getMessageType(Type* type, std::uint8_t rawValue) {
  if (type == nullptr) return false;
  if (rawValue == rawValueOfNone) {
    *type = Type::None;
    return true;
  }
  const auto index = rawValues.find(static_cast<char>(rawValue));
  if (index == std::string_view::npos) return false;
  *type = static_cast<Type>(index + 1);
  return true;
}

std::int64_t ZanburyToolProxyMessage::nextMessageId() {
  static std::int64_t lastMessageId = 0;
  return ++lastMessageId;
}

std::optional<Data> ZanburyToolProxyMessage::headerDataWithType(Type type, std::uint64_t length) {
  const auto character = static_cast<char>(rawValueForMessageType(type));
  const auto header = truncatedHeader(fmt::format("{}{}\n", character, length), headerBufferSize);
  if (header.size() < 3) return std::nullopt;
  return copyOf(bytesOf(header));
}

std::optional<std::filesystem::path> ZanburyToolProxyMessage::newPathForReadingType(
    Type type, std::int64_t messageId, const std::filesystem::path* temporaryDirectoryPath) {
  const bool isArchive = type == Type::InputArchive || type == Type::OutputArchive;
  if (temporaryDirectoryPath == nullptr || !isArchive) return std::nullopt;
  return *temporaryDirectoryPath / fmt::format("{:02}-{}", messageId, stringForMessageType(type));
}

std::optional<Dictionary> ZanburyToolProxyMessage::bodyDataAsDictionary() const {
  if (!bodyData || bodyData->empty()) return Dictionary::object();
  auto result = dictionaryFromJson(*bodyData);
  if (result) return *std::move(result);
  logLine(result.error().description);
  return std::nullopt;
}

std::optional<Data> ZanburyToolProxyMessage::takeBodyData() {
  return std::exchange(bodyData, std::nullopt);
}

bool ZanburyToolProxyMessage::shouldAbort() const {
  return state == State::Aborted;
}

}  // namespace ztp
