// Conversion by the system's iconv(3).
#include "platform/XmlEncoding.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <string_view>

#include <iconv.h>

#include "platform/Text.h"

namespace ztp {
namespace {

constexpr std::string_view blanks = " \t\r\n";

struct Encoding {
  std::string_view sign;  // a byte order mark, or a name that XML declarations write
  const char* converter;  // as iconv knows it
};

constexpr const char* none = nullptr;  // nothing to convert: UTF-8

constexpr std::array<Encoding, 3> marked = {
    {{"\xef\xbb\xbf", none}, {"\xff\xfe", "UTF-16LE"}, {"\xfe\xff", "UTF-16BE"}}};

// No other name is handed to iconv: it would load a module for anything that it has heard of, and
// take instructions that are written behind a name.
constexpr std::array<Encoding, 6> declarable = {{{"utf-8", none},
                                                 {"utf8", none},
                                                 {"iso-8859-1", "ISO-8859-1"},
                                                 {"latin1", "ISO-8859-1"},
                                                 {"us-ascii", "US-ASCII"},
                                                 {"ascii", "US-ASCII"}}};

std::string inLowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return result;
}

std::string_view withoutBlanksInFront(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

// What the XML declaration at the front names; absent without one, or when it names nothing.
std::optional<std::string_view> declaredEncoding(std::string_view document) {
  if (!document.starts_with("<?xml")) return std::nullopt;
  const std::string_view declaration = document.substr(0, document.find("?>"));
  constexpr std::string_view word = "encoding";
  const std::size_t found = declaration.find(word);
  if (found == std::string_view::npos) return std::nullopt;
  std::string_view rest = withoutBlanksInFront(declaration.substr(found + word.size()));
  if (!rest.starts_with('=')) return std::nullopt;
  rest = withoutBlanksInFront(rest.substr(1));
  if (rest.empty() || (rest.front() != '"' && rest.front() != '\'')) return std::nullopt;
  return rest.substr(1, rest.find(rest.front(), 1) - 1);
}

std::optional<std::string> converted(std::string_view text, const char* converter) {
  if (converter == none) return isUtf8(text) ? std::optional<std::string>(text) : std::nullopt;
  const auto conversion = ::iconv_open("UTF-8", converter);
  if (reinterpret_cast<std::intptr_t>(conversion) == -1) return std::nullopt;
  std::string result(2 * text.size(), '\0');  // no byte of these encodings becomes more than two
  auto* in = const_cast<char*>(text.data());  // only read
  auto* out = result.data();
  std::size_t unread = text.size();
  std::size_t room = result.size();
  const bool complete =
      ::iconv(conversion, &in, &unread, &out, &room) != static_cast<std::size_t>(-1);
  ::iconv_close(conversion);
  if (!complete) return std::nullopt;
  result.resize(result.size() - room);
  return result;
}

}  // namespace

std::optional<std::string> xmlInUtf8(DataView document) {
  const std::string_view text = textOf(document);
  for (const auto& [mark, converter] : marked) {
    if (text.starts_with(mark)) return converted(text.substr(mark.size()), converter);
  }
  const std::string name = inLowerCase(declaredEncoding(text).value_or("utf-8"));
  for (const auto& [declared, converter] : declarable) {
    if (name == declared) return converted(text, converter);
  }
  return std::nullopt;
}

}  // namespace ztp
