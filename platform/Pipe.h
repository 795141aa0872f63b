// The two ends of a pipe.
#pragma once

#include "platform/FileHandle.h"

namespace ztp {

/// A pipe whose ends no child inherits unless it is given them.
struct Pipe {
  /// Raises PlatformException when it cannot be created.
  static Pipe create();

  FileHandle readingEnd;
  FileHandle writingEnd;
};

}  // namespace ztp
