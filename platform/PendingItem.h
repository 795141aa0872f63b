// What is being made beside its place, and takes its place whole: by a rename.
#pragma once

#include <optional>
#include <string>

#include "platform/Directory.h"
#include "platform/Error.h"
#include "platform/TreeCopy.h"

namespace ztp {

/// A file, a link or a tree under an unpredictable name, in the directory that it is meant for.
/// Whenever the process is killed, the place holds what was there before or the whole new item.
/// What is under the temporary name when this object goes is removed; nothing interrupts that. The
/// directory outlives it.
class PendingItem {
 public:
  /// Nothing is made yet. The place is `name` in `directory`.
  PendingItem(const Directory& directory, std::string name);
  PendingItem(const PendingItem&) = delete;
  PendingItem& operator=(const PendingItem&) = delete;
  ~PendingItem();

  /// Makes it, as a copy. Raises PlatformException, as all that follows.
  void copy(const Directory& from, const std::string& name, TreeCopy& copy);
  /// Puts it in its place and removes what was there, of whatever kind. Returns why something of
  /// that has stayed under a foreign name.
  [[nodiscard]] MaybeError takePlace(const InterruptCheck& check);

 private:
  void make(const Directory& from, const std::string& name, TreeCopy& copy);
  void changePlaces();
  void moveAside();
  [[nodiscard]] bool rename(const std::string& from, const std::string& to) const noexcept;
  [[nodiscard]] MaybeError remove(const InterruptCheck& check);

  const Directory& directory_;
  std::string name_;
  /// Empty while nothing of ours is under it.
  std::string temporaryName_;
  /// What is under the temporary name, if it is a directory: should another user put something else
  /// there, that is not what is removed.
  std::optional<Directory> tree_;
};

}  // namespace ztp
