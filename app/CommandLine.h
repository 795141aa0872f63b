// What people who start the program from a shell are told. A host passes everything in EXPORT_
// variables; beside them all arguments but "server" mean nothing.
#pragma once

#include <span>
#include <string_view>

namespace ztp {

/// The arguments of the process without its name, and whether a host started it.
class CommandLine {
 public:
  /// Borrows the arguments.
  CommandLine(int argumentCount, char** arguments);

  /// True when any argument is "server".
  [[nodiscard]] bool asksForServerRole() const;
  /// Where no variable whose name begins with "EXPORT_" is set: answers "--version" and "--help" on
  /// standard output and returns true; says in a line on standard error that a host starts this
  /// program when there is no argument at all. Raises PlatformException when an answer cannot be
  /// written.
  [[nodiscard]] bool answers() const;

 private:
  [[nodiscard]] bool holds(std::string_view wanted) const;

  std::span<char*> arguments_;
};

}  // namespace ztp
