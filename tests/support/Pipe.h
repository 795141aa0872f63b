// A pipe whose other end is in the test's hands.
#pragma once

#include <array>
#include <string>

#include "platform/FileHandle.h"

namespace ztp::test {

/// Both ends of a new pipe of the usual capacity. SIGPIPE is ignored from the first one on, as in
/// the program.
struct Pipe {
  /// Throws std::runtime_error when it cannot be made.
  Pipe();

  /// Writes one byte after the other until there is no room; returns how many that were.
  std::size_t fill();
  /// Everything the pipe holds right now, without waiting.
  std::string drain();
  /// True when the writing end is non-blocking.
  [[nodiscard]] bool isNonBlocking() const;

  FileHandle readEnd;
  FileHandle writeEnd;

 private:
  explicit Pipe(const std::array<int, 2>& descriptors);
};

}  // namespace ztp::test
