// The removal of files and directory trees, relative to open directories.
#pragma once

#include <string>

#include "platform/Directory.h"
#include "platform/Error.h"
#include "platform/InterruptCheck.h"

namespace ztp {

/// One removal. It goes on past what cannot be removed, so that as little as possible stays, and
/// makes the directories inside a tree writable first. Links are removed, not what they lead to.
class TreeRemoval {
 public:
  /// What becomes of a file that cannot be removed. It is emptied only when no other name leads to
  /// it.
  enum class Unremovable { leave, empty };

  /// Opens a directory that is to be removed, one whose owner may not read it, too.
  static Directory open(const Directory& from, const std::string& name);

  explicit TreeRemoval(InterruptCheck check, Unremovable unremovable = Unremovable::leave);

  /// Removes an item; a missing one is no error.
  void remove(const Directory& from, const std::string& name);
  /// Removes an item unless it is a directory.
  void removeFile(const Directory& from, const std::string& name);
  /// Removes what is in an open directory and then the directory, which has this name. Nothing is
  /// removed from another directory that has got the name meanwhile.
  void removeOpened(Directory& directory, const Directory& from, const std::string& name);

  /// What could not be removed first, and why; absent when nothing has stayed.
  [[nodiscard]] const MaybeError& error() const noexcept { return error_; }

 private:
  void removeDirectory(const Directory& from, const std::string& name);
  void removeContents(Directory& directory);
  void removeEmpty(const Directory& from, const std::string& name);
  void empty(const Directory& from, const std::string& name) noexcept;
  void note(int errorNumber, const Directory& from, const std::string& name);

  InterruptCheck check_;
  Unremovable unremovable_;
  MaybeError error_;
  /// How many entries are gone: a directory is read again until that changes nothing.
  std::size_t count_ = 0;
};

}  // namespace ztp
