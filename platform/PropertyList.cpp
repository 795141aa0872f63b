// Property lists by libplist.
#include "platform/PropertyList.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include <plist/plist.h>

#include "platform/BinaryPropertyList.h"
#include "platform/FileManager.h"
#include "platform/Text.h"
#include "platform/XmlEncoding.h"

namespace ztp {
namespace {

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

bool isAllowedInXml(char character) {
  return static_cast<unsigned char>(character) >= 0x20 || character == '\t' || character == '\n' ||
         character == '\r';
}

bool canBeWritten(const std::string& text) {
  return isUtf8(text) && std::all_of(text.begin(), text.end(), isAllowedInXml);
}

// Beyond that the library writes a negative number.
bool canBeWritten(std::uint64_t number) {
  return number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
}

bool canBeWritten(const PropertyListValue& value) {
  return std::visit([](const auto& item) { return canBeWritten(item); }, value);
}

plist_t nodeFor(const std::string& text) {
  return plist_new_string(text.c_str());
}
plist_t nodeFor(std::uint64_t number) {
  return plist_new_uint(number);
}

// Up to the first NUL, which a binary list may hold: the library's copying getter asserts that
// there is none, and so would let a server end this process.
std::string stringValue(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text ? std::string(text, ::strnlen(text, length)) : "";
}

std::int64_t realAsInteger(plist_t node) {
  double value = 0;
  plist_get_real_val(node, &value);
  constexpr double limit = 9223372036854775807.0;
  if (value >= limit) return std::numeric_limits<std::int64_t>::max();
  if (value <= -limit) return std::numeric_limits<std::int64_t>::min();
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

plist_t parseBinary(DataView bytes) {
  plist_t parsed = nullptr;
  if (!expandsWithinLimits(bytes)) return parsed;
  plist_from_bin(textOf(bytes).data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
  return parsed;
}

plist_t parseXml(DataView bytes) {
  plist_t parsed = nullptr;
  const auto text = xmlInUtf8(bytes);
  if (text) plist_from_xml(text->data(), static_cast<std::uint32_t>(text->size()), &parsed);
  return parsed;
}

[[noreturn]] void wrongType(std::string_view key, std::string_view expected) {
  throw PlatformException("The value of " + std::string(key) + " is not " + std::string(expected));
}

}  // namespace

Result<std::string> xmlPropertyList(const PropertyListDictionary& dictionary) {
  const Plist root(plist_new_dict(), &plist_free);
  for (const auto& [key, value] : dictionary) {
    if (!canBeWritten(key) || !canBeWritten(value)) {
      return Error{"The value under " + toValidUtf8(key) + " cannot be written as XML"};
    }
    plist_dict_set_item(root.get(), key.c_str(),
                        std::visit([](const auto& item) { return nodeFor(item); }, value));
  }
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  const std::unique_ptr<char, decltype(&plist_to_xml_free)> owned(xml, &plist_to_xml_free);
  if (!owned) return Error{"The property list cannot be written"};
  return std::string(owned.get(), length);
}

std::optional<PropertyList> PropertyList::fromData(DataView bytes) {
  if (bytes.empty() || bytes.size() > maximumSize) return std::nullopt;
  std::shared_ptr<void> node(isBinaryPropertyList(bytes) ? parseBinary(bytes) : parseXml(bytes),
                             [](plist_t list) { plist_free(list); });
  if (!node || plist_get_node_type(node.get()) != PLIST_DICT) return std::nullopt;
  return PropertyList(std::move(node));
}

std::optional<PropertyList> PropertyList::fromFile(const std::filesystem::path& path) {
  const auto content = FileManager::readFile(path, maximumSize);
  return content ? fromData(*content) : std::nullopt;
}

void* PropertyList::item(std::string_view key) const {
  return plist_dict_get_item(node_.get(), std::string(key).c_str());
}

std::optional<std::string> PropertyList::string(std::string_view key) const {
  plist_t node = item(key);
  if (node == nullptr) return std::nullopt;
  if (plist_get_node_type(node) != PLIST_STRING) wrongType(key, "a string");
  return stringValue(node);
}

std::optional<std::int64_t> PropertyList::integer(std::string_view key) const {
  plist_t node = item(key);
  if (node == nullptr) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_UINT: {
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      return static_cast<std::int64_t>(value);
    }
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value;
    }
    case PLIST_REAL:
      return realAsInteger(node);
    case PLIST_STRING:
      return leadingInteger(stringValue(node));
    default:
      wrongType(key, "an integer");
  }
}

}  // namespace ztp
