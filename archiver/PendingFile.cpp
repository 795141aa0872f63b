// Temporary names, and the rename at the end.
#include "archiver/PendingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr int maximumAttempts = 1000;

// Calls `make` with one temporary name after the other until one is free, and returns that name.
// `make` returns a negative number and sets errno, as system calls do.
template <typename Make>
std::string makeUnderFreeName(Make make) {
  for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
    std::string name =
        ".ZanburyArchiver-" + std::to_string(::getpid()) + "-" + std::to_string(attempt);
    if (make(name.c_str()) >= 0) return name;
    if (errno != EEXIST) break;
  }
  throw systemError("cannot be made", errno);
}

}  // namespace

PendingFile::PendingFile(int directory, std::string name)
    : directory_(directory), name_(std::move(name)) {}

PendingFile::PendingFile(PendingFile&& other) noexcept
    : directory_(other.directory_),
      name_(std::move(other.name_)),
      temporary_(std::exchange(other.temporary_, {})),
      file_(std::move(other.file_)) {}

PendingFile::~PendingFile() {
  if (!temporary_.empty()) ::unlinkat(directory_, temporary_.c_str(), 0);
}

PendingFile PendingFile::makeFile(int directory, std::string name, mode_t mode) {
  PendingFile pending(directory, std::move(name));
  pending.temporary_ = makeUnderFreeName([&](const char* temporary) {
    constexpr int newFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    pending.file_ = FileDescriptor(::openat(directory, temporary, newFile, mode));
    return pending.file_.get();
  });
  return pending;
}

PendingFile PendingFile::makeLink(int directory, std::string name, const std::string& target) {
  PendingFile pending(directory, std::move(name));
  pending.temporary_ = makeUnderFreeName(
      [&](const char* temporary) { return ::symlinkat(target.c_str(), directory, temporary); });
  return pending;
}

void PendingFile::write(std::span<const std::uint8_t> bytes) {
  const int error = writeFully(file_.get(), bytes);
  if (error != 0) throw systemError("cannot be written", error);
}

void PendingFile::setModificationTime(std::int64_t seconds) {
  const struct timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
  if (::utimensat(directory(), temporary_.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) {
    throw systemError("its time cannot be set", errno);
  }
}

void PendingFile::putInPlace() {
  const int error = file_.close();
  if (error != 0) throw systemError("cannot be written", error);
  if (::renameat(directory(), temporary_.c_str(), directory(), name_.c_str()) != 0) {
    throw systemError("cannot be put in its place", errno);
  }
  temporary_.clear();
}

}  // namespace ztp::archiver
