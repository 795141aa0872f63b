// How an archive's failures read.
#include "archiver/ArchiveError.h"

#include <cstddef>
#include <system_error>

namespace ztp::archiver {

namespace {

constexpr std::size_t maximumNameLength = 120;
constexpr char hexDigits[] = "0123456789abcdef";

bool isPlain(char c) {
  return c >= ' ' && c <= '~' && c != '\\' && c != '\'';
}

}  // namespace

ArchiveError systemError(std::string_view what, int errorNumber) {
  return ArchiveError(std::string(what) + ": " + std::generic_category().message(errorNumber));
}

std::string quotedName(std::string_view name) {
  std::string text = "'";
  for (const char c : name.substr(0, maximumNameLength)) {
    if (isPlain(c)) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'\\', 'x', hexDigits[byte >> 4U], hexDigits[byte & 15U]};
    }
  }
  return text + (name.size() > maximumNameLength ? "...'" : "'");
}

}  // namespace ztp::archiver
