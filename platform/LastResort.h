// What still happens when the process ends without unwinding: a library that cannot go on calls
// abort(3), or nobody catches an exception. The run loop's does when the system refuses it memory.
#pragma once

#include <filesystem>

namespace ztp {

/// Stateless but for the one path it remembers; for the main thread.
class LastResort {
 public:
  LastResort() = delete;

  /// From now on abort(3) removes the remembered directory, writes one line if standard error takes
  /// it at once, and ends the process with status 1.
  static void prepare();
  /// The directory that must not be left behind, with all in it; an empty path: none (any more).
  static void remember(const std::filesystem::path& directory) noexcept;
  /// Removes the remembered directory by another program and waits for its end. Needs neither
  /// memory nor descriptors of this process.
  static void removeDirectory() noexcept;
};

}  // namespace ztp
