// The directory that an archive is unpacked into. Whatever lies there already, nothing is written,
// opened or made outside it: names are walked one directory at a time and no link is followed.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archiver/EntryName.h"
#include "archiver/FileDescriptor.h"
#include "archiver/PendingFile.h"

namespace ztp::archiver {

/// What a file system has left.
struct FreeSpace {
  std::uint64_t bytes = 0;
  std::uint64_t blockSize = 0;  ///< what the smallest file takes, in bytes
  std::optional<std::uint64_t>
      items;  ///< files and directories; absent where it does not count them
};

/// Makes files, links and directories below one directory. Files and links that were there before
/// are replaced, directories are used; what one archive has made is never replaced by it again, so
/// that two names which the file system takes for one (by case or normalisation) are refused.
///
/// The directories on the way to the last name stay open: names that come in their order (see
/// comesBefore) cost no more than each directory entered once. None may be the tree's own name.
class DestinationTree {
 public:
  /// Opens `destination`, which is made if it is missing, with the directories above it. Throws
  /// ArchiveError, as all that follows.
  explicit DestinationTree(const std::filesystem::path& destination);

  /// What may still be made in the file system. Absent where it does not say.
  [[nodiscard]] std::optional<FreeSpace> freeSpace() const;

  /// Makes a directory, or uses the one that is there.
  void makeDirectory(const EntryName& name, unsigned permissions);
  /// Sets the time of a directory if it was made here, in seconds since 1970. To be called when all
  /// is in it.
  void setDirectoryTime(const EntryName& name, std::int64_t seconds);
  /// Begins a file, which appears under its name when it is `put`, before anything else is made.
  [[nodiscard]] PendingFile beginFile(const EntryName& name, unsigned permissions);
  /// Ends a file. `seconds` since 1970 become its time.
  void put(PendingFile file, std::int64_t seconds);
  /// Makes a link. Its target is the caller's to check.
  void makeLink(const EntryName& name, const std::string& target, std::int64_t seconds);

 private:
  using Inode = std::pair<dev_t, ino_t>;
  /// A directory that is open.
  struct Level {
    FileDescriptor directory;
    std::size_t length;  // of its path in `path_`
  };

  [[nodiscard]] int openDirectory(std::string_view path);
  [[nodiscard]] int innermost() const;
  void closeBeyond(std::size_t sharedLength);
  void enter(std::string_view component);
  [[nodiscard]] bool wasMadeHere(int directory, const char* name) const;
  void rememberMade(int directory, const char* name);

  FileDescriptor root_;
  mode_t mask_;
  std::string path_;  // of the innermost directory that is open, below the root
  std::vector<Level> levels_;
  std::set<Inode> made_;
};

}  // namespace ztp::archiver
