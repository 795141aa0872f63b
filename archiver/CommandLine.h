// The archiver's command line: the arguments of the archiver that it stands in for, and no others.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>
#include <variant>

namespace ztp::archiver {

/// "-c -k --keepParent DIRECTORY ZIP"
struct PackCommand {
  std::filesystem::path directory;
  std::filesystem::path zip;
};

/// "-x -k ZIP DESTINATION"
struct ExtractCommand {
  std::filesystem::path zip;
  std::filesystem::path destination;
};

/// "--help"
struct HelpCommand {};

/// Anything else.
struct UnknownCommand {};

using Command = std::variant<PackCommand, ExtractCommand, HelpCommand, UnknownCommand>;

/// What `arguments` (without the program's name) ask for. An empty path is not a path.
[[nodiscard]] Command parseArguments(std::span<const std::string_view> arguments);

/// The usage text, several lines, each with its line feed.
[[nodiscard]] std::string_view usage();

}  // namespace ztp::archiver
