// The directory that an archive is unpacked into. Whatever lies there already, nothing is written,
// opened or made outside it: names are walked one directory at a time and no link is followed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "archiver/EntryName.h"
#include "archiver/FileDescriptor.h"
#include "archiver/PendingFile.h"

namespace ztp::archiver {

/// Makes files, links and directories below one directory. Files and links that were there before
/// are replaced, directories are used; what one archive has made is never replaced by it again, so
/// that two names which the file system takes for one (by case or normalisation) are refused.
class DestinationTree {
 public:
  using Time = std::optional<std::int64_t>;  ///< seconds since 1970; absent: leave it alone

  /// Opens `destination`, which is made if it is missing, with the directories above it. Throws
  /// ArchiveError, as all that follows.
  explicit DestinationTree(const std::filesystem::path& destination);

  /// Bytes that may still be written to the file system. Absent where it does not say.
  [[nodiscard]] std::optional<std::uint64_t> freeBytes() const;

  /// Makes a directory, or uses the one that is there.
  void makeDirectory(const EntryName& name, unsigned permissions, Time time);
  /// Begins a file, which appears under its name when it is `put`.
  [[nodiscard]] PendingFile beginFile(const EntryName& name, unsigned permissions);
  /// Ends a file.
  void put(PendingFile file, Time time);
  /// Makes a link. Its target is the caller's to check.
  void makeLink(const EntryName& name, const std::string& target, Time time);
  /// Sets the times of the directories that were made here. To be called when all is in them.
  void setDirectoryTimes();

 private:
  using Inode = std::pair<dev_t, ino_t>;
  /// A time that is set when the directory is complete.
  struct DirectoryTime {
    EntryName name;
    std::int64_t seconds;
  };

  [[nodiscard]] FileDescriptor openDirectory(const EntryName& name, std::size_t depth);
  [[nodiscard]] FileDescriptor openParent(const EntryName& name);
  [[nodiscard]] FileDescriptor enter(int parent, const std::string& component);
  [[nodiscard]] bool wasMadeHere(int directory, const char* name) const;
  void rememberMade(int directory, const char* name);

  FileDescriptor root_;
  mode_t mask_;
  std::set<Inode> made_;
  std::vector<DirectoryTime> times_;
};

}  // namespace ztp::archiver
