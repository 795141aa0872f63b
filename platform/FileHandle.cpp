// File handles over plain descriptors. Writes into pipes go in pieces that a pipe with room takes
// whole, so that even a blocking descriptor never blocks in write(2) itself.
#include "platform/FileHandle.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/OpenFile.h"

namespace ztp {
namespace {

constexpr std::size_t offeredAtMost = 65'536;
constexpr unsigned ownerOnly = 0600;

bool isRegularFile(int fileDescriptor) {
  struct stat status {};
  return ::fstat(fileDescriptor, &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<FileHandle> opened(const std::filesystem::path& path, int flags) {
  const int fileDescriptor = openFile(path, flags, ownerOnly);
  if (fileDescriptor < 0) return std::nullopt;
  return FileHandle(fileDescriptor);
}

// One read(2) that interruptions do not end.
std::size_t readSome(int fileDescriptor, std::span<std::uint8_t> bytes) {
  for (;;) {
    const ssize_t count = ::read(fileDescriptor, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw PlatformException(Error::fromErrno("read"));
  }
}

bool hasSomethingToRead(int fileDescriptor) {
  pollfd descriptor{fileDescriptor, POLLIN, 0};
  return ::poll(&descriptor, 1, 0) == 1 && (descriptor.revents & (POLLIN | POLLHUP)) != 0;
}

}  // namespace

FileHandle::FileHandle(int fileDescriptor, Ownership ownership)
    : fileDescriptor_(fileDescriptor),
      ownership_(ownership),
      isRegularFile_(isRegularFile(fileDescriptor)) {}

FileHandle::FileHandle(FileHandle&& other) noexcept
    : fileDescriptor_(std::exchange(other.fileDescriptor_, -1)),
      ownership_(other.ownership_),
      isRegularFile_(other.isRegularFile_) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    letGo();
    fileDescriptor_ = std::exchange(other.fileDescriptor_, -1);
    ownership_ = other.ownership_;
    isRegularFile_ = other.isRegularFile_;
  }
  return *this;
}

FileHandle::~FileHandle() {
  letGo();
}

std::optional<FileHandle> FileHandle::forReadingAtPath(const std::filesystem::path& path) {
  return opened(path, O_RDONLY);
}

std::optional<FileHandle> FileHandle::forWritingAtPath(const std::filesystem::path& path) {
  return opened(path, O_WRONLY);
}

std::optional<FileHandle> FileHandle::forOverwritingAtPath(const std::filesystem::path& path) {
  return opened(path, O_WRONLY | O_CREAT | O_TRUNC);
}

void FileHandle::writeData(DataView bytes) {
  // A wait for a closed descriptor would never end.
  if (fileDescriptor_ == -1) throw PlatformException(Error::fromErrorNumber("write", EBADF));
  if (isRegularFile_) {
    writeToFile(bytes);
  } else {
    writeToPipe(bytes);
  }
}

void FileHandle::writeToFile(DataView bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fileDescriptor_, bytes.data(), bytes.size());
    if (written > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(written));
    } else if (written == 0 || errno != EINTR) {
      throw PlatformException(Error::fromErrno("write"));
    }
  }
}

void FileHandle::writeToPipe(DataView bytes) {
  while (!bytes.empty()) {
    wasInterrupted_ = true;  // unless the wait comes to its end
    const auto outcome = BlockingWait::untilWritable(fileDescriptor_);
    wasInterrupted_ = false;
    if (outcome == BlockingWait::Outcome::expired) {
      throw PlatformException("write: the other side takes nothing");
    }
    const std::size_t piece = std::min<std::size_t>(bytes.size(), PIPE_BUF);
    const ssize_t written = ::write(fileDescriptor_, bytes.data(), piece);
    if (written >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(written));
      isHalfWritten_ = !bytes.empty();
    } else if (errno != EINTR && errno != EAGAIN) {
      throw PlatformException(Error::fromErrno("write"));
    }
  }
}

std::size_t FileHandle::read(std::span<std::uint8_t> bytes) {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const std::size_t count = readSome(fileDescriptor_, bytes.subspan(filled));
    if (count == 0) break;
    filled += count;
  }
  return filled;
}

Data FileHandle::readDataOfLength(std::size_t maximum) {
  Data data(maximum);
  data.resize(read(data));
  return data;
}

Data FileHandle::availableData() {
  if (!hasSomethingToRead(fileDescriptor_)) return {};
  Data data(offeredAtMost);
  const ssize_t count = ::read(fileDescriptor_, data.data(), data.size());
  if (count < 0 && errno != EAGAIN && errno != EINTR) {
    throw PlatformException(Error::fromErrno("read"));
  }
  data.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return data;
}

void FileHandle::synchronize() {
  while (::fsync(fileDescriptor_) != 0) {
    if (errno == EINVAL || errno == ENOTSUP || errno == EROFS) return;
    if (errno != EINTR) throw PlatformException(Error::fromErrno("fsync"));
  }
}

void FileHandle::close() {
  if (fileDescriptor_ != -1) ::close(std::exchange(fileDescriptor_, -1));
}

void FileHandle::closeAfterWriting() {
  if (fileDescriptor_ == -1) return;
  // After EINTR the descriptor is closed already.
  if (::close(std::exchange(fileDescriptor_, -1)) != 0 && errno != EINTR) {
    throw PlatformException(Error::fromErrno("close"));
  }
}

void FileHandle::letGo() noexcept {
  if (ownership_ == Ownership::owns && fileDescriptor_ != -1) ::close(fileDescriptor_);
  fileDescriptor_ = -1;
}

}  // namespace ztp
