// The private directory of one session. It holds the private key while ssh logs in, and what is
// sent and received; all of it goes with the session.
#pragma once

#include <filesystem>
#include <optional>

#include "platform/TemporaryDirectory.h"

namespace ztp {

/// Made by `createTemporaryDirectory`, and removed with all in it when this object goes.
class WorkingDirectory {
 public:
  /// None yet.
  WorkingDirectory() = default;
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  /// Removes it, by another program where this one cannot. A failure is logged.
  ~WorkingDirectory();

  /// Removes what killed runs have left behind and makes a directory of mode 0700 in this user's
  /// place for temporary files, or in /tmp (after a log line) where others could change that place.
  void createTemporaryDirectory();
  /// Empty when it could not be made: nothing may be written then.
  [[nodiscard]] const std::filesystem::path& temporaryDirectoryPath() const noexcept {
    return temporaryDirectoryPath_;
  }

  /// Removes a file or a tree; nothing for an empty path or one where nothing is. When that fails,
  /// logs why and has it removed by another program.
  static void removeItemAtPath(const std::filesystem::path& path);

 private:
  std::optional<TemporaryDirectory> temporaryDirectory_;
  std::filesystem::path temporaryDirectoryPath_;
};

}  // namespace ztp
