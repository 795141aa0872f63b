// The one way this folder fails: an exception whose text is the line that the user reads on
// standard error. Names inside it come from strangers: they are quoted, bounded and escaped.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ztp::archiver {

/// An archive that cannot be packed or unpacked. `what()` is one line without a line feed.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An ArchiveError that ends in the reason for `errorNumber`: "cannot open 'x': Permission denied".
[[nodiscard]] ArchiveError systemError(std::string_view what, int errorNumber);

/// `name` in single quotes, at most 120 bytes of it, anything but printable ASCII as \xNN.
[[nodiscard]] std::string quotedName(std::string_view name);

}  // namespace ztp::archiver
