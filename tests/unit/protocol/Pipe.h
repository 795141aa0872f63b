// A pipe as the stream to the server.
#pragma once

#include <array>
#include <string>

#include "platform/FileHandle.h"

namespace ztp::test {

/// Both ends of a new pipe. SIGPIPE is ignored from the first one on, as in the program.
struct Pipe {
  Pipe();

  /// Writes one byte after the other until there is no room; gives how many that were.
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
