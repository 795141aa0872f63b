// Base64 by OpenSSL's block coder, fed with the characters of the alphabet only.
#include "util/Base64.h"

#include <algorithm>

#include <openssl/evp.h>

namespace ztp {
namespace {

// The library counts in int: longer data is coded in pieces that end on a group's border.
constexpr std::size_t groupsInPiece = std::size_t{1} << 20U;

bool isInAlphabet(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') || character == '+' || character == '/';
}

std::uint8_t* bytesIn(char* text) {
  return reinterpret_cast<std::uint8_t*>(text);
}

// The alphabet's characters of a text and how it was padded. The text may be a key.
struct Filtered {
  SecretText characters;
  std::size_t padding = 0;
  bool paddingEndsIt = true;
};

Filtered filtered(std::string_view text) {
  Filtered result;
  result.characters.reserve(text.size() + 3);  // room for the padding
  for (const char character : text) {
    if (character == '=') {
      ++result.padding;
    } else if (isInAlphabet(character)) {
      result.paddingEndsIt = result.paddingEndsIt && result.padding == 0;
      result.characters += character;
    }
  }
  return result;
}

// Decodes whole groups of four; false when the library objects.
bool decodeGroups(std::string_view groups, std::uint8_t* output) {
  while (!groups.empty()) {
    const std::string_view piece = groups.substr(0, groupsInPiece * 4);
    const int decoded =
        EVP_DecodeBlock(output, bytesOf(piece).data(), static_cast<int>(piece.size()));
    if (decoded < 0) return false;
    output += decoded;
    groups.remove_prefix(piece.size());
  }
  return true;
}

}  // namespace

SecretText encodedBase64(DataView bytes) {
  SecretText text((bytes.size() + 2) / 3 * 4, '\0');
  char* output = text.data();
  while (!bytes.empty()) {
    const DataView piece = bytes.first(std::min(bytes.size(), groupsInPiece * 3));
    // A terminator follows: the next piece's first character or the string's own.
    output += EVP_EncodeBlock(bytesIn(output), piece.data(), static_cast<int>(piece.size()));
    bytes = bytes.subspan(piece.size());
  }
  return text;
}

std::optional<Data> decodedBase64(std::string_view text, Base64Padding padding) {
  auto [characters, paddingFound, paddingEndsIt] = filtered(text);
  const std::size_t missing = (4 - characters.size() % 4) % 4;
  if (missing == 3 || !paddingEndsIt) return std::nullopt;
  if (padding == Base64Padding::required && paddingFound != missing) return std::nullopt;
  characters.append(missing, '=');
  Data bytes(characters.size() / 4 * 3);
  if (!decodeGroups(characters, bytes.data())) return std::nullopt;
  bytes.resize(bytes.size() - missing);  // the library counts the padding as bytes
  return bytes;
}

}  // namespace ztp
