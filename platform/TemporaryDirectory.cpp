// Working directories. Between making one and locking it another start may take it for stale and
// remove it; a maker that finds it gone makes another.
#include "platform/TemporaryDirectory.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Directory.h"
#include "platform/FileHandle.h"
#include "platform/FileManager.h"

namespace ztp {
namespace {

constexpr std::size_t randomCharacters = 6;
constexpr int attempts = 10;

int openDirectory(const std::filesystem::path& path) {
  return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool isDirectoryAt(int directory, const std::filesystem::path& path) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(directory, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

enum class Lock { taken, heldElsewhere, unavailable };

Lock tryLock(int directory) {
  while (::flock(directory, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return Lock::heldElsewhere;
    if (errno != EINTR) return Lock::unavailable;
  }
  return Lock::taken;
}

bool fitsPattern(const std::string& name, std::string_view prefix) {
  return name.size() == prefix.size() + randomCharacters && name.starts_with(prefix) &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end(),
                     [](unsigned char character) { return std::isalnum(character) != 0; });
}

// Something else may bear a name that fits, but is hardly as private as all that is made here.
bool isOurs(int directory) {
  constexpr mode_t permissions = 0777;  // a root with its group for all gives that mark as well
  struct stat status {};
  return ::fstat(directory, &status) == 0 && status.st_uid == ::geteuid() &&
         (status.st_mode & permissions) == S_IRWXU;
}

void removeIfStale(const std::filesystem::path& path) {
  const FileHandle handle(openDirectory(path));
  const int directory = handle.fileDescriptor();
  if (directory < 0) return;
  if (isOurs(directory) && tryLock(directory) == Lock::taken && isDirectoryAt(directory, path)) {
    static_cast<void>(FileManager::removeItem(path, TreeRemoval::Unremovable::empty));
  }
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(std::filesystem::path path, int lock) noexcept
    : path_(std::move(path)), lock_(lock) {}

TemporaryDirectory::TemporaryDirectory(TemporaryDirectory&& other) noexcept
    : path_(std::exchange(other.path_, {})), lock_(std::exchange(other.lock_, -1)) {}

TemporaryDirectory& TemporaryDirectory::operator=(TemporaryDirectory&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(lock_, other.lock_);
  return *this;
}

TemporaryDirectory::~TemporaryDirectory() {
  if (lock_ != -1) ::close(lock_);
}

std::optional<TemporaryDirectory> TemporaryDirectory::create(const std::filesystem::path& root,
                                                             std::string_view prefix) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    std::string path = root / (std::string(prefix) + std::string(randomCharacters, 'X'));
    if (::mkdtemp(path.data()) == nullptr) return std::nullopt;
    const int directory = openDirectory(path);
    if (directory < 0 && errno != ENOENT) return TemporaryDirectory(path, -1);
    if (directory < 0) continue;
    // A file system without locks keeps its directories: they do not count as stale there either.
    if (tryLock(directory) != Lock::heldElsewhere && isDirectoryAt(directory, path)) {
      return TemporaryDirectory(path, directory);
    }
    ::close(directory);
    // Mostly gone already; should whoever has locked it not come to remove it, nobody else would.
    ::rmdir(path.c_str());
  }
  return std::nullopt;
}

std::optional<std::filesystem::path> TemporaryDirectory::safeRoot(
    const std::filesystem::path& root) {
  std::error_code code;
  const auto resolved = std::filesystem::canonical(root, code);
  if (code) return root;
  for (auto path = resolved;; path = path.parent_path()) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && canBeChangedByOthers(status)) return std::nullopt;
    if (path == path.parent_path()) return resolved;
  }
}

void TemporaryDirectory::removeStale(const std::filesystem::path& root, std::string_view prefix) {
  const auto names = FileManager::contentsOfDirectory(root);
  if (!names) return;
  for (const auto& name : *names) {
    if (fitsPattern(name.string(), prefix)) removeIfStale(root / name);
  }
}

}  // namespace ztp
