// A path as it is taken apart before its item is made, replaced or removed.
#pragma once

#include <filesystem>
#include <string>

namespace ztp {

/// The directory of an item and the item's name in it. Slashes at the end of the path do not count.
struct ItemPath {
  /// Raises PlatformException for a path that ends in no name: an empty one, "/", ".", "..".
  explicit ItemPath(const std::filesystem::path& path);

  std::filesystem::path parent;  ///< empty: the current directory
  std::string name;
};

/// The path without slashes at its end; "/" is left as it is.
std::filesystem::path withoutTrailingSlashes(const std::filesystem::path& path);

}  // namespace ztp
