// Copies of files and directory trees between open directories.
#pragma once

#include <optional>
#include <string>

#include "platform/Directory.h"
#include "platform/InterruptCheck.h"
#include "platform/PathWalk.h"

namespace ztp {

/// One copy, with permissions (without set-id bits) and times where the file system takes them: its
/// refusal is no failure. Where the copy fails, PlatformException is raised and what was copied so
/// far stays; removing it is up to the caller.
class TreeCopy {
 public:
  /// What is done with a file's bytes. With `share` a file gets a second name (a hard link) where
  /// the destination allows it and the result is the same: for a source that belongs to the
  /// program, does not change any more and is removed soon.
  enum class Content { copy, share };
  /// Where the links of the copied tree may lead: to places in `root`, which outlives the copy.
  /// `position` is the way from the root to the directory that is copied, or that holds the link.
  struct LinkScope {
    const Directory& root;
    std::string position;
    PathWalk::Top top;
  };
  /// Directories inside one another that are still copied.
  static constexpr std::size_t maximumDepth = 100;

  /// Links are made anew with the same text; with a scope, one that leads out of it is a failure.
  TreeCopy(Content content, std::optional<LinkScope> scope, InterruptCheck check);

  /// Copies all that is in a directory into another one, and then its permissions and times.
  void copyDirectory(Directory& from, const Directory& to);
  /// Copies an item that is not a directory to a name that is free; a link as a link.
  void copyFileOrLink(const Directory& from, const std::string& name, const Directory& to,
                      const std::string& newName);
  /// Copies an open file to a name that is free.
  void copyFile(FileHandle from, const Directory& to, const std::string& newName);

 private:
  void copyEntry(const Directory& from, const std::string& name, const Directory& to);
  [[nodiscard]] static bool leadsOut(const LinkScope& scope, const std::string& name);
  void copyLink(const Directory& from, const std::string& name, const Directory& to,
                const std::string& newName);
  [[nodiscard]] bool share(const Directory& from, const std::string& name, const Directory& to,
                           const std::string& newName, const struct stat& status);
  void copyContent(FileHandle& from, FileHandle& to);
  void copyThroughBuffer(FileHandle& from, FileHandle& to);

  Content content_;
  std::optional<LinkScope> scope_;
  InterruptCheck check_;
  std::size_t depth_ = 0;
  /// Whether files can become second names at the destination; known from the first one on, and
  /// the same in all directories that the copy makes.
  std::optional<bool> sharesThere_;
};

}  // namespace ztp
