// The three descriptors that the host passes and that ssh shares.
#pragma once

namespace ztp {

/// Stateless but for the flags it remembers; for the main thread.
class StandardStreams {
 public:
  StandardStreams() = delete;

  /// Opens the null device for each of the three that is closed, so that no file of the program
  /// becomes one of them, and remembers the flags of standard error.
  static void prepare();
  /// Gives standard error the flags that it had at `prepare`: ssh makes it non-blocking and does
  /// not set it back.
  static void restore() noexcept;
};

}  // namespace ztp
