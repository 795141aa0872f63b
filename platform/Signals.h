// Signals, turned into readable descriptors that the run loop and the blocking waits can watch.
#pragma once

#include <optional>
#include <string_view>

namespace ztp {

/// The signals this program acts on.
class Signals {
 public:
  Signals() = delete;

  /// SIGTERM, SIGINT, SIGHUP and SIGQUIT no longer end the process: they are kept for
  /// `takeTermination`, and unblocked, whatever mask was inherited. One that was ignored at the
  /// start of the process stays ignored. SIGPIPE and SIGXFSZ are ignored: a write into a broken
  /// pipe or beyond the limit of file sizes is an ordinary failure.
  static void catchTermination();
  /// Readable while a termination signal waits to be taken.
  static int terminationDescriptor();
  /// The number of the termination signal that came first, once.
  static std::optional<int> takeTermination();

  /// Readable when a child has exited since `drainChildExits`. Installs the SIGCHLD handler at the
  /// first call.
  static int childExitDescriptor();
  /// Empties what childExitDescriptor shows.
  static void drainChildExits();

  /// "SIGTERM" and so on; "signal" for any other number.
  static std::string_view name(int signalNumber);
};

}  // namespace ztp
