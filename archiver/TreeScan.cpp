// The walk over the directory that is packed.
#include "archiver/TreeScan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

namespace {

namespace fs = std::filesystem;

// The name of `directory`, also where it is written "." or with a slash at the end.
std::string ownName(const fs::path& directory) {
  std::error_code error;
  const fs::path whole = fs::canonical(directory, error);
  if (error) throw systemError("cannot read " + quotedName(directory.native()), error.value());
  const fs::path plain = directory.lexically_normal();
  const fs::path last = plain.has_filename() ? plain.filename() : plain.parent_path().filename();
  const bool isSpelled = !last.empty() && last != "." && last != "..";
  std::string name = isSpelled ? last.string() : whole.filename().string();
  if (name.empty()) throw ArchiveError("the root directory has no name to keep");
  return name;
}

FileIdentity identityOf(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_mode, static_cast<std::uint64_t>(status.st_size),
          status.st_mtim};
}

class Walk {
 public:
  void add(const fs::path& path, const std::string& name, std::size_t depth) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) throw systemError(cannotRead(path), errno);
    const mode_t type = status.st_mode & S_IFMT;
    if (type != S_IFREG && type != S_IFDIR && type != S_IFLNK) {
      throw ArchiveError("cannot pack " + quotedName(path.native()) +
                         ": it is neither a file nor a directory nor a link");
    }
    if (depth > maximumDepth) throw ArchiveError("too deep: " + quotedName(path.native()));
    items_.push_back({name, identityOf(status)});
    if (type == S_IFDIR) addContents(path, name, depth);
  }

  std::vector<TreeItem> items() { return std::move(items_); }

 private:
  static std::string cannotRead(const fs::path& path) {
    return "cannot read " + quotedName(path.native());
  }

  void addContents(const fs::path& path, const std::string& name, std::size_t depth) {
    std::error_code error;
    std::vector<std::string> names;
    fs::directory_iterator entry(path, error);
    while (!error && entry != fs::directory_iterator()) {
      names.push_back(entry->path().filename().string());
      entry.increment(error);
    }
    if (error) throw systemError(cannotRead(path), error.value());
    std::sort(names.begin(), names.end());
    for (const std::string& child : names) {
      add(path / child, (fs::path(name) / child).native(), depth + 1);
    }
  }

  std::vector<TreeItem> items_;
};

}  // namespace

fs::path Tree::pathOf(const TreeItem& item) const {
  const std::size_t slash = item.name.find('/');
  return directory / (slash == std::string::npos ? "" : item.name.substr(slash + 1));
}

Tree scanTree(const fs::path& directory) {
  const std::string name = ownName(directory);
  std::error_code error;
  if (!fs::is_directory(directory, error)) {
    throw ArchiveError("cannot pack " + quotedName(directory.native()) + ": it is not a directory");
  }
  Walk walk;
  // A link to a directory is packed as that directory: the slash makes the system follow it.
  walk.add(directory / "", name, 1);
  return {directory, walk.items()};
}

bool isUnchanged(int descriptor, const FileIdentity& identity) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) throw systemError("fstat", errno);
  const FileIdentity now = identityOf(status);
  return now.device == identity.device && now.inode == identity.inode &&
         now.mode == identity.mode && now.size == identity.size &&
         now.modified.tv_sec == identity.modified.tv_sec &&
         now.modified.tv_nsec == identity.modified.tv_nsec;
}

}  // namespace ztp::archiver
