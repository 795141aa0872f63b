// A pipe, and what tests ask of it.
#pragma once

#include <cstddef>
#include <string>

#include "platform/Pipe.h"

namespace ztp::test {

/// A new pipe of the usual capacity, which is soon full. SIGPIPE is ignored from the first one on,
/// as in the program.
struct ObservedPipe : Pipe {
  /// Raises PlatformException when it cannot be made.
  ObservedPipe();

  /// Writes one byte after the other until there is no room; returns how many that were.
  std::size_t fill();
  /// Everything the pipe holds right now, without waiting.
  std::string drain();
  /// True when the writing end is non-blocking.
  [[nodiscard]] bool isNonBlocking() const;
};

}  // namespace ztp::test
