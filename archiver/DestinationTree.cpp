// Walks names below one open directory and makes what they name.
#include "archiver/DestinationTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t allPermissions = 0777;
constexpr std::uint64_t usualBlockSize = 4096;

mode_t currentMask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

std::optional<struct stat> statusOf(int directory, const char* name) {
  struct stat status {};
  if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH) != 0) return {};
  return status;
}

}  // namespace

DestinationTree::DestinationTree(const std::filesystem::path& destination) : mask_(currentMask()) {
  std::error_code error;
  std::filesystem::create_directories(destination, error);
  root_ = FileDescriptor(::open(destination.c_str(), directoryFlags));
  if (!root_) throw systemError("cannot unpack into " + quotedName(destination.native()), errno);
}

std::optional<FreeSpace> DestinationTree::freeSpace() const {
  struct statvfs status {};
  // A file system without a bound, as a tmpfs can be, has no blocks.
  if (::fstatvfs(root_.get(), &status) != 0 || status.f_blocks == 0) return std::nullopt;
  FreeSpace space;
  space.bytes = std::uint64_t{status.f_bavail} * status.f_frsize;
  // Over a network the unit is that of a transfer.
  space.blockSize = std::min<std::uint64_t>(status.f_frsize, usualBlockSize);
  if (status.f_files != 0) space.items = status.f_favail;
  return space;
}

void DestinationTree::makeDirectory(const EntryName& name, unsigned permissions) {
  const int directory = openDirectory(name.text);
  if (name.text.empty() || !wasMadeHere(directory, "")) return;
  if (::fchmod(directory, permissions & ~mask_) != 0) {
    throw systemError("its mode cannot be set", errno);
  }
}

void DestinationTree::setDirectoryTime(const EntryName& name, std::int64_t seconds) {
  const int directory = openDirectory(name.text);
  if (name.text.empty() || !wasMadeHere(directory, "")) return;
  const struct timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
  if (::futimens(directory, times) != 0) throw systemError("its time cannot be set", errno);
}

PendingFile DestinationTree::beginFile(const EntryName& name, unsigned permissions) {
  return PendingFile::makeFile(openDirectory(name.parent()), std::string(name.last()), permissions);
}

void DestinationTree::put(PendingFile file, std::int64_t seconds) {
  file.setModificationTime(seconds);
  if (wasMadeHere(file.directory(), file.name().c_str())) {
    throw ArchiveError("another entry has its name");
  }
  rememberMade(file.directory(), file.temporaryName().c_str());
  file.putInPlace();
}

void DestinationTree::makeLink(const EntryName& name, const std::string& target,
                               std::int64_t seconds) {
  put(PendingFile::makeLink(openDirectory(name.parent()), std::string(name.last()), target),
      seconds);
}

// The directory of that path, open until the next call.
int DestinationTree::openDirectory(std::string_view path) {
  closeBeyond(sharedLength(path_, path));
  while (path_.size() < path.size()) {
    const std::string_view rest = path.substr(path_.empty() ? 0 : path_.size() + 1);
    enter(rest.substr(0, rest.find('/')));
  }
  return innermost();
}

int DestinationTree::innermost() const {
  return levels_.empty() ? root_.get() : levels_.back().directory.get();
}

void DestinationTree::closeBeyond(std::size_t sharedLength) {
  while (!levels_.empty() && levels_.back().length > sharedLength) levels_.pop_back();
  path_.resize(levels_.empty() ? 0 : levels_.back().length);
}

void DestinationTree::enter(std::string_view component) {
  const int parent = innermost();
  const std::string name(component);
  const bool isNew = ::mkdirat(parent, name.c_str(), allPermissions) == 0;
  const int reason = errno;
  if (isNew) rememberMade(parent, name.c_str());
  FileDescriptor child(::openat(parent, name.c_str(), directoryFlags | O_NOFOLLOW));
  if (!child) {
    const int error = !isNew && reason != EEXIST ? reason : errno;
    throw systemError("cannot use the directory " + quotedName(name), error);
  }
  if (!path_.empty()) path_ += '/';
  path_ += name;
  levels_.push_back({std::move(child), path_.size()});
}

bool DestinationTree::wasMadeHere(int directory, const char* name) const {
  const std::optional<struct stat> status = statusOf(directory, name);
  return status && made_.contains({status->st_dev, status->st_ino});
}

void DestinationTree::rememberMade(int directory, const char* name) {
  const std::optional<struct stat> status = statusOf(directory, name);
  if (!status) throw systemError("cannot be made", errno);
  made_.insert({status->st_dev, status->st_ino});
}

}  // namespace ztp::archiver
