// The two forms of the command line, matched word by word.
#include "archiver/CommandLine.h"

#include <algorithm>
#include <array>

namespace ztp::archiver {

namespace {

using Words = std::span<const std::string_view>;

// Whether `arguments` are `options` followed by two operands that are not empty.
bool isForm(Words arguments, Words options) {
  return arguments.size() == options.size() + 2 &&
         std::equal(options.begin(), options.end(), arguments.begin()) &&
         !arguments[options.size()].empty() && !arguments[options.size() + 1].empty();
}

}  // namespace

Command parseArguments(Words arguments) {
  static constexpr std::array<std::string_view, 3> packOptions = {"-c", "-k", "--keepParent"};
  static constexpr std::array<std::string_view, 2> extractOptions = {"-x", "-k"};
  if (isForm(arguments, packOptions)) return PackCommand{arguments[3], arguments[4]};
  if (isForm(arguments, extractOptions)) return ExtractCommand{arguments[2], arguments[3]};
  if (arguments.size() == 1 && arguments[0] == "--help") return HelpCommand{};
  return UnknownCommand{};
}

std::string_view usage() {
  return "usage: ZanburyArchiver -c -k --keepParent DIRECTORY ZIP\n"
         "       ZanburyArchiver -x -k ZIP DESTINATION\n"
         "Packs DIRECTORY, itself included, into ZIP; or unpacks ZIP into DESTINATION.\n";
}

}  // namespace ztp::archiver
