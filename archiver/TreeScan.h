// Lists what is to be packed, before anything is written.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace ztp::archiver {

/// A directory, a regular file or a symbolic link.
struct TreeItem {
  std::filesystem::path path;  ///< where it lies
  std::string name;            ///< its name in the archive, without a slash at the end
  struct stat status {};       ///< of the item itself, never of a link's target
};

/// `directory` under its own last name, then all that it holds, in the order of the names. Links
/// are not followed. Throws ArchiveError for what cannot be read, for a tree that is too deep, and
/// for anything that a zip archive cannot hold: FIFOs, sockets, devices.
[[nodiscard]] std::vector<TreeItem> scanTree(const std::filesystem::path& directory);

}  // namespace ztp::archiver
