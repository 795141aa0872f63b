// How failures of the operating system travel: an Error is returned and examined, a
// PlatformException is what a platform call on an I/O path raises. Both carry one readable line.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ztp {

/// Why something could not be done, in one readable line: "open /a/b: No such file or directory".
struct Error {
  std::string description;

  /// The error that the last system call left in errno; `what` names the call and its object.
  static Error fromErrno(std::string_view what);
  /// The same for a given error number.
  static Error fromErrorNumber(std::string_view what, int errorNumber);
};

/// Raised by platform operations that cannot go on; what() is the readable description.
class PlatformException : public std::runtime_error {
 public:
  explicit PlatformException(const std::string& description) : std::runtime_error(description) {}
  explicit PlatformException(const Error& error) : std::runtime_error(error.description) {}
};

}  // namespace ztp
