// Open directories over the *at calls.
#include "platform/Directory.h"

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "platform/Error.h"
#include "platform/OpenFile.h"
#include "platform/System.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

constexpr int toList = O_RDONLY | O_DIRECTORY;
constexpr mode_t ownerOnly = 0700;

[[noreturn]] void fail(std::string_view call, const fs::path& path) {
  throw PlatformException(Error::fromErrno(std::string(call) + " " + path.string()));
}

}  // namespace

bool canBeChangedByOthers(const struct stat& directory) {
  const bool isForOthers = (directory.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const bool isSticky = (directory.st_mode & S_ISVTX) != 0;
  const bool isOfAnotherUser = directory.st_uid != 0 && directory.st_uid != ::geteuid();
  return (isForOthers && !isSticky) || isOfAnotherUser;
}

Directory::Directory(int fileDescriptor, fs::path path) noexcept
    : fileDescriptor_(fileDescriptor), path_(std::move(path)) {}

Directory::Directory(Directory&& other) noexcept
    : fileDescriptor_(std::exchange(other.fileDescriptor_, -1)),
      stream_(std::exchange(other.stream_, nullptr)),
      path_(std::move(other.path_)) {}

Directory& Directory::operator=(Directory&& other) noexcept {
  std::swap(fileDescriptor_, other.fileDescriptor_);
  std::swap(stream_, other.stream_);
  std::swap(path_, other.path_);
  return *this;
}

Directory::~Directory() {
  if (stream_ != nullptr) {
    ::closedir(stream_);
  } else if (fileDescriptor_ != -1) {
    ::close(fileDescriptor_);
  }
}

Directory Directory::at(const fs::path& path) {
  const fs::path named = path.empty() ? fs::path(".") : path;
  int fileDescriptor = openFile(named, toList);
  if (fileDescriptor < 0 && errno == EACCES) {
    fileDescriptor = openFile(named, system::searchOnlyFlag() | O_DIRECTORY);
  }
  if (fileDescriptor < 0) fail("open", path);
  return {fileDescriptor, path};
}

fs::path Directory::pathOf(const std::string& name) const {
  return path_ / name;
}

Directory Directory::subdirectory(const std::string& name) const {
  const int opened = openFileAt(fileDescriptor_, name, toList | O_NOFOLLOW);
  if (opened < 0) fail("open", pathOf(name));
  return {opened, pathOf(name)};
}

Directory Directory::makeSubdirectory(const std::string& name) const {
  if (::mkdirat(fileDescriptor_, name.c_str(), ownerOnly) != 0) fail("mkdir", pathOf(name));
  Directory made = openMade(name);
  // Some file systems give every directory the same owner and mode; only where others can bring one
  // of theirs in its place does the owner tell.
  const bool isForeign = made.status().st_uid != ::geteuid() && canBeChangedByOthers(status());
  if (isForeign || made.nextName() != nullptr) {
    throw PlatformException(pathOf(name).string() + ": another directory has come in its place");
  }
  static_cast<void>(::fchmod(made.fileDescriptor(), ownerOnly));
  made.rewind();
  return made;
}

Directory Directory::openMade(const std::string& name) const {
  try {
    return subdirectory(name);
  } catch (const PlatformException&) {
    ::unlinkat(fileDescriptor_, name.c_str(), AT_REMOVEDIR);
    throw;
  }
}

FileHandle Directory::file(const std::string& name, int flags, mode_t mode) const {
  const int opened = openFileAt(fileDescriptor_, name, flags | O_NOFOLLOW | O_NONBLOCK, mode);
  if (opened < 0) fail("open", pathOf(name));
  return FileHandle(opened);
}

struct stat Directory::status() const {
  struct stat status {};
  if (::fstat(fileDescriptor_, &status) != 0) fail("stat", path_);
  return status;
}

std::optional<struct stat> Directory::statusOf(const std::string& name) const {
  struct stat status {};
  if (::fstatat(fileDescriptor_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
  if (errno != ENOENT) fail("stat", pathOf(name));
  return std::nullopt;
}

std::string Directory::targetOf(const std::string& name) const {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = ::readlinkat(fileDescriptor_, name.c_str(), target.data(), target.size());
  if (size < 0) fail("readlink", pathOf(name));
  return {target.data(), static_cast<std::size_t>(size)};
}

const char* Directory::nextName() {
  if (stream_ == nullptr) stream_ = ::fdopendir(fileDescriptor_);
  if (stream_ == nullptr) fail("opendir", path_);
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream_);
    if (entry == nullptr && errno != 0) fail("readdir", path_);
    if (entry == nullptr) return nullptr;
    const std::string_view name(entry->d_name);
    if (name != "." && name != "..") return entry->d_name;
  }
}

void Directory::rewind() noexcept {
  if (stream_ != nullptr) ::rewinddir(stream_);
}

}  // namespace ztp
