// An open directory. What is looked up, made and removed relative to it stays in it, wherever its
// own name or a name above it leads meanwhile.
#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/FileHandle.h"

namespace ztp {

/// Whether other users may replace what is in a directory of that status: one of them, root
/// excepted, owns it, or they may write there and it is not sticky.
bool canBeChangedByOthers(const struct stat& directory);

/// Holds a descriptor as long as it lives. Move-only. Names are single components. Methods that
/// fail raise PlatformException, which names the call and the path.
class Directory {
 public:
  /// Opens the directory that the path leads to, links followed. One that may be searched but not
  /// listed can be opened, too.
  static Directory at(const std::filesystem::path& path);

  Directory(Directory&& other) noexcept;
  Directory& operator=(Directory&& other) noexcept;
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory();

  [[nodiscard]] int fileDescriptor() const noexcept { return fileDescriptor_; }
  /// Where it was when it was opened, and an item in it; for messages only.
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
  [[nodiscard]] std::filesystem::path pathOf(const std::string& name) const;

  /// Opens a directory in this one; a link is not followed.
  [[nodiscard]] Directory subdirectory(const std::string& name) const;
  /// Makes a directory of mode 0700 in this one and opens it. One that another user has put there
  /// in between is refused.
  [[nodiscard]] Directory makeSubdirectory(const std::string& name) const;
  /// Opens a file in this directory; a link is not followed, a FIFO not waited for. The flags and
  /// the mode are those of open(2).
  [[nodiscard]] FileHandle file(const std::string& name, int flags, mode_t mode = 0) const;

  /// The status of the directory itself.
  [[nodiscard]] struct stat status() const;
  /// The status of an item, for a link its own; absent when nothing is there.
  [[nodiscard]] std::optional<struct stat> statusOf(const std::string& name) const;
  /// The target of a link in the directory.
  [[nodiscard]] std::string targetOf(const std::string& name) const;

  /// The name of the next entry except "." and ".."; null at the end. Valid until the next call.
  [[nodiscard]] const char* nextName();
  /// Makes the next name the first again.
  void rewind() noexcept;

 private:
  [[nodiscard]] Directory openMade(const std::string& name) const;

  Directory(int fileDescriptor, std::filesystem::path path) noexcept;

  int fileDescriptor_ = -1;
  /// Made for the first name; the descriptor is its own from then on.
  DIR* stream_ = nullptr;
  std::filesystem::path path_;
};

}  // namespace ztp
