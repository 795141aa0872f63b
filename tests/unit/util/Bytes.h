// Byte literals for published vectors, and bytes as readable text for comparisons.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Data.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {

/// The bytes that hexadecimal digits name; blanks are skipped.
inline Data hex(std::string_view digits) {
  Data bytes;
  std::string pair;
  for (const char digit : digits) {
    if (digit == ' ') continue;
    pair += digit;
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

/// Hexadecimal digits, so that a failed comparison can be read; "nothing" for an absent value.
inline std::string shown(const std::optional<DataView>& bytes) {
  if (!bytes) return "nothing";
  return ZanburyToolProxyUtilities::hexStringWithBytes(bytes->data(), bytes->size());
}

/// The same as text.
inline std::string textShown(const std::optional<Data>& bytes) {
  return bytes ? std::string(textOf(*bytes)) : "nothing";
}

/// `size` bytes that differ from their neighbours and from block to block.
inline Data pattern(std::size_t size) {
  Data bytes(size);
  std::uint32_t value = 1;
  for (auto& byte : bytes) {
    value = value * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(value >> 24U);
  }
  return bytes;
}

}  // namespace ztp::test
