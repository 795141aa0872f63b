// The private working directory: made, locked while the program lives, and cleaned up after runs
// that were killed.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace ztp {

/// A directory of mode 0700 under `root` whose name is `prefix` and six random characters. It is
/// locked (flock) as long as this object lives, so that it is not taken for a leftover.
class TemporaryDirectory {
 public:
  /// Absent when it cannot be made.
  static std::optional<TemporaryDirectory> create(const std::filesystem::path& root,
                                                  std::string_view prefix);
  /// The path of `root` without links, when a directory made there stays what it is: `root` and all
  /// above it belong to this user or the superuser, and nobody else may write there unless it is
  /// sticky. Absent when that does not hold; `root` itself when it does not exist.
  [[nodiscard]] static std::optional<std::filesystem::path> safeRoot(
      const std::filesystem::path& root);
  /// Removes the directories of this user and of mode 0700 below `root` whose names fit the pattern
  /// and whose lock nobody holds: what a killed run left behind. Never one that is in use. Failures
  /// are ignored.
  static void removeStale(const std::filesystem::path& root, std::string_view prefix);

  TemporaryDirectory(TemporaryDirectory&& other) noexcept;
  TemporaryDirectory& operator=(TemporaryDirectory&& other) noexcept;
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  /// Releases the lock; the directory stays.
  ~TemporaryDirectory();

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  TemporaryDirectory(std::filesystem::path path, int lock) noexcept;

  std::filesystem::path path_;
  int lock_ = -1;
};

}  // namespace ztp
