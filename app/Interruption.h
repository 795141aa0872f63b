// Signals and children that have exited: what reaches the process from outside its streams.
#pragma once

#include "platform/BlockingWait.h"
#include "platform/ReadinessWatcher.h"

namespace ztp {

/// While this lives the run loop raises the session's end when a termination signal comes, children
/// are collected as they exit, and the handler is called during blocking waits. Needs
/// Signals::catchTermination.
class Interruption {
 public:
  /// The handler outlives it. Raises PlatformException.
  explicit Interruption(InterruptHandler& handler);

  /// Readable when `raiseIfTerminated` will raise.
  [[nodiscard]] static int terminationDescriptor();
  /// Raises SessionFailure when a termination signal has come.
  static void raiseIfTerminated();

 private:
  ReadinessWatcher terminationWatcher_;
  ReadinessWatcher childExitWatcher_;
  BlockingWait::Registration registration_;
};

}  // namespace ztp
