// Walks down a tree with one descriptor a level and removes it from below.
#include "platform/TreeRemoval.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace ztp {
namespace {

constexpr mode_t allForTheOwner = 0700;

bool isDirectory(const Directory& from, const std::string& name) {
  const auto status = from.statusOf(name);
  return status && S_ISDIR(status->st_mode);
}

void makeWritable(const Directory& directory) {
  if ((directory.status().st_mode & allForTheOwner) != allForTheOwner) {
    static_cast<void>(::fchmod(directory.fileDescriptor(), allForTheOwner));
  }
}

}  // namespace

Directory TreeRemoval::open(const Directory& from, const std::string& name) {
  try {
    return from.subdirectory(name);
  } catch (const PlatformException&) {
    // Only where the mode is in the way there is a reason to change it.
    const auto status = from.statusOf(name);
    if (!status || !S_ISDIR(status->st_mode) || status->st_uid != ::geteuid() ||
        (status->st_mode & allForTheOwner) == allForTheOwner) {
      throw;
    }
    if (::fchmodat(from.fileDescriptor(), name.c_str(), allForTheOwner, AT_SYMLINK_NOFOLLOW) != 0) {
      throw;
    }
    return from.subdirectory(name);
  }
}

TreeRemoval::TreeRemoval(InterruptCheck check, Unremovable unremovable)
    : check_(std::move(check)), unremovable_(unremovable) {}

void TreeRemoval::remove(const Directory& from, const std::string& name) {
  check_();
  try {
    if (isDirectory(from, name)) return removeDirectory(from, name);
    removeFile(from, name);
  } catch (const PlatformException& exception) {
    if (!error_) error_ = Error{exception.what()};
  }
}

void TreeRemoval::removeFile(const Directory& from, const std::string& name) {
  if (::unlinkat(from.fileDescriptor(), name.c_str(), 0) == 0) {
    ++count_;
  } else if (errno != ENOENT) {
    note(errno, from, name);
    if (unremovable_ == Unremovable::empty) empty(from, name);
  }
}

void TreeRemoval::removeContents(Directory& directory) {
  makeWritable(directory);
  std::size_t before = 0;
  do {
    before = count_;
    directory.rewind();
    while (const char* const name = directory.nextName()) remove(directory, name);
    // A file system may have passed over an entry when the one in front of it went.
  } while (count_ != before);
}

void TreeRemoval::removeOpened(Directory& directory, const Directory& from,
                               const std::string& name) {
  removeContents(directory);
  removeEmpty(from, name);
}

void TreeRemoval::removeDirectory(const Directory& from, const std::string& name) {
  Directory directory = open(from, name);
  removeOpened(directory, from, name);
}

void TreeRemoval::removeEmpty(const Directory& from, const std::string& name) {
  if (::unlinkat(from.fileDescriptor(), name.c_str(), AT_REMOVEDIR) == 0) {
    ++count_;
  } else if (errno != ENOENT) {
    note(errno, from, name);
  }
}

void TreeRemoval::empty(const Directory& from, const std::string& name) noexcept {
  try {
    const FileHandle file = from.file(name, O_WRONLY);
    struct stat status {};
    if (::fstat(file.fileDescriptor(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_nlink == 1) {
      static_cast<void>(!::ftruncate(file.fileDescriptor(), 0));
    }
  } catch (const std::exception&) {
    // The error is known already.
  }
}

void TreeRemoval::note(int errorNumber, const Directory& from, const std::string& name) {
  if (!error_) error_ = Error::fromErrorNumber("remove " + from.pathOf(name).string(), errorNumber);
}

}  // namespace ztp
