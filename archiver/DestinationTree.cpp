// Walks names below one open directory and makes what they name.
#include "archiver/DestinationTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr int kDirectory = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t kAllPermissions = 0777;

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
  root_ = FileDescriptor(::open(destination.c_str(), kDirectory));
  if (!root_) throw systemError("cannot unpack into " + shown(destination.native()), errno);
}

std::optional<std::uint64_t> DestinationTree::freeBytes() const {
  struct statvfs status {};
  // A file system without a bound, as a tmpfs can be, has no blocks.
  if (::fstatvfs(root_.get(), &status) != 0 || status.f_blocks == 0) return std::nullopt;
  return std::uint64_t{status.f_bavail} * status.f_frsize;
}

void DestinationTree::makeDirectory(const EntryName& name, unsigned permissions, Time time) {
  const FileDescriptor directory = openDirectory(name, name.components.size());
  if (name.components.empty() || !wasMadeHere(directory.get(), "")) return;
  if (::fchmod(directory.get(), permissions & ~mask_) != 0) {
    throw systemError("its mode cannot be set", errno);
  }
  if (time) times_.push_back({name, *time});
}

PendingFile DestinationTree::beginFile(const EntryName& name, unsigned permissions) {
  return PendingFile::makeFile(openParent(name), name.components.back(), permissions);
}

void DestinationTree::put(PendingFile file, Time time) {
  if (time) file.setModificationTime(*time);
  if (wasMadeHere(file.directory(), file.name().c_str())) {
    throw ArchiveError("another entry has its name");
  }
  rememberMade(file.directory(), file.temporaryName().c_str());
  file.putInPlace();
}

void DestinationTree::makeLink(const EntryName& name, const std::string& target, Time time) {
  put(PendingFile::makeLink(openParent(name), name.components.back(), target), time);
}

void DestinationTree::setDirectoryTimes() {
  for (const DirectoryTime& entry : times_) {
    const FileDescriptor directory = openDirectory(entry.name, entry.name.components.size());
    const struct timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(entry.seconds), 0}};
    if (::futimens(directory.get(), times) != 0) {
      throw systemError("the time of a directory cannot be set", errno);
    }
  }
}

FileDescriptor DestinationTree::openDirectory(const EntryName& name, std::size_t depth) {
  FileDescriptor directory(::fcntl(root_.get(), F_DUPFD_CLOEXEC, 0));
  if (!directory) throw systemError("fcntl", errno);
  for (std::size_t i = 0; i < depth; ++i) directory = enter(directory.get(), name.components[i]);
  return directory;
}

FileDescriptor DestinationTree::openParent(const EntryName& name) {
  return openDirectory(name, name.components.size() - 1);
}

FileDescriptor DestinationTree::enter(int parent, const std::string& component) {
  const bool isNew = ::mkdirat(parent, component.c_str(), kAllPermissions) == 0;
  const int reason = errno;
  if (isNew) rememberMade(parent, component.c_str());
  FileDescriptor child(::openat(parent, component.c_str(), kDirectory | O_NOFOLLOW));
  if (!child) {
    const int error = !isNew && reason != EEXIST ? reason : errno;
    throw systemError("cannot use the directory " + shown(component), error);
  }
  return child;
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
