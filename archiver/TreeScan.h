// Lists what is to be packed, before anything is written.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace ztp::archiver {

/// What tells a file from another, and from itself when it has changed.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  mode_t mode = 0;
  std::uint64_t size = 0;  ///< in bytes
  timespec modified{};
};

/// A directory, a regular file or a symbolic link.
struct TreeItem {
  std::string name;       ///< in the archive: any bytes, without a slash at the end
  FileIdentity identity;  ///< of the item itself, never of a link's target
};

/// A directory and all that lies in it.
struct Tree {
  std::filesystem::path directory;
  std::vector<TreeItem> items;

  /// Where an item lies.
  [[nodiscard]] std::filesystem::path pathOf(const TreeItem& item) const;
};

/// `directory` under its own last name, then all that it holds, in the order of the names. Links
/// are not followed. Throws ArchiveError for what cannot be read, for a tree that is too deep, and
/// for anything that a zip archive cannot hold: FIFOs, sockets, devices.
[[nodiscard]] Tree scanTree(const std::filesystem::path& directory);

/// Whether `descriptor` is that file, unchanged. Throws ArchiveError when it does not say.
[[nodiscard]] bool isUnchanged(int descriptor, const FileIdentity& identity);

}  // namespace ztp::archiver
