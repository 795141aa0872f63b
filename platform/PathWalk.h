// Where a path below an open directory leads, links included, as the system would follow it - but
// never out of that directory.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "platform/Directory.h"

namespace ztp {

/// One walk. The directory outlives it.
class PathWalk {
 public:
  enum class End {
    there,    ///< at an item of the directory, or at the directory itself
    nowhere,  ///< inside the directory, at a place where nothing is
    outside   ///< an absolute link, or more ".." than there is above
  };
  /// Whether the directory itself and missing items in it count as inside.
  enum class Top { inside, outside };

  explicit PathWalk(const Directory& root, Top top = Top::inside);

  /// Follows the path; slashes in front, behind and doubled do not count. Raises PlatformException
  /// when that fails otherwise than by leading nowhere.
  [[nodiscard]] End follow(const std::string& path);

  /// After `there`: whether it is the directory itself; if not, the item is this name in this
  /// directory, and it is not a link.
  [[nodiscard]] bool isAtTop() const noexcept { return names_.empty(); }
  [[nodiscard]] const Directory& parent() const;
  [[nodiscard]] const std::string& name() const { return names_.back(); }

 private:
  [[nodiscard]] End followNames();
  [[nodiscard]] bool followLink(const std::string& name);
  [[nodiscard]] End missing() const;
  void prepend(const std::string& path);
  [[nodiscard]] const Directory& current() const;

  const Directory& root_;
  Top top_;
  int links_ = 0;
  std::deque<std::string> ahead_;
  /// The way from the root to here: names, and directories for all but a file at the end.
  std::vector<std::string> names_;
  std::vector<Directory> opened_;
};

}  // namespace ztp
