// Copies of files and directory trees: as a second name of the same file where that may be, inside
// the kernel where it can, piece by piece elsewhere.
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"
#include "platform/FileManager.h"
#include "platform/OpenFile.h"
#include "platform/System.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;
using Links = FileManager::Links;
using Content = FileManager::Content;

struct Manner {
  Links links;
  Content content;
};

constexpr std::size_t pieceSize = 8'388'608;
constexpr std::size_t bufferSize = 262'144;
constexpr mode_t permissionBits = 0777;
constexpr int deepestTree = 64;

[[noreturn]] void fail(std::string_view call, const fs::path& path) {
  throw PlatformException(Error::fromErrno(std::string(call) + " " + path.string()));
}

struct stat statusOf(const fs::path& path, int flags) {
  struct stat status {};
  if (::fstatat(AT_FDCWD, path.c_str(), &status, flags) != 0) fail("stat", path);
  return status;
}

void setTimesAndMode(const fs::path& path, const struct stat& status) {
  const timespec times[] = {status.st_atim, status.st_mtim};
  static_cast<void>(::utimensat(AT_FDCWD, path.c_str(), times, 0));
  if (::chmod(path.c_str(), status.st_mode & permissionBits) != 0) fail("chmod", path);
}

int openOrFail(const fs::path& path, int flags, mode_t mode = 0) {
  const int fileDescriptor = openFile(path, flags, mode);
  if (fileDescriptor < 0) fail("open", path);
  return fileDescriptor;
}

void copyThroughBuffer(FileHandle& source, FileHandle& destination, const fs::path& path) {
  try {
    for (;;) {
      const Data piece = source.readDataOfLength(bufferSize);
      if (piece.empty()) return;
      destination.writeData(piece);
      BlockingWait::glance();
    }
  } catch (const PlatformException& exception) {
    throw PlatformException(std::string(exception.what()) + " (" + path.string() + ")");
  }
}

bool isUnsupported(int errorNumber) {
  return errorNumber == EXDEV || errorNumber == EINVAL || errorNumber == ENOSYS ||
         errorNumber == EOPNOTSUPP || errorNumber == EPERM;
}

void copyContent(FileHandle& source, FileHandle& destination, const fs::path& path) {
  bool copiedAny = false;
  for (;;) {
    const auto copied =
        system::copyInKernel(source.fileDescriptor(), destination.fileDescriptor(), pieceSize);
    if (!copied && !isUnsupported(errno)) fail("copy to", path);
    // Some file systems answer 0 to everything: the end is believed only after some bytes.
    if (!copied || (*copied == 0 && !copiedAny)) {
      return copyThroughBuffer(source, destination, path);
    }
    if (*copied == 0) return;
    copiedAny = true;
    BlockingWait::glance();
  }
}

// Gives the file a second name. False, and nothing done, where a copy would turn out otherwise: in
// a directory that gives new files its own group or access list, for a set-id program, for a file
// that has another name already; and where the file system cannot do it.
bool share(const fs::path& source, const fs::path& destination, const struct stat& status) {
  return status.st_nlink == 1 && (status.st_mode & (S_ISUID | S_ISGID)) == 0 &&
         status.st_uid == ::geteuid() && status.st_gid == ::getegid() &&
         !system::shapesNewFiles(destination.parent_path()) &&
         ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void copyFile(const fs::path& source, const fs::path& destination, const struct stat& status) {
  FileHandle from(openOrFail(source, O_RDONLY | O_NONBLOCK));
  FileHandle to(openOrFail(destination, O_WRONLY | O_CREAT | O_EXCL, 0600));
  copyContent(from, to, destination);
  to.closeAfterWriting();
  setTimesAndMode(destination, status);
}

void copyTree(const fs::path& source, const fs::path& destination, Manner manner, int depth);

void copyDirectory(const fs::path& source, const fs::path& destination, const struct stat& status,
                   Manner manner, int depth) {
  if (depth >= deepestTree)
    throw PlatformException("Too many nested directories: " + source.string());
  if (::mkdir(destination.c_str(), 0700) != 0) fail("mkdir", destination);
  const auto names = FileManager::contentsOfDirectory(source);
  if (const auto* error = std::get_if<Error>(&names)) throw PlatformException(*error);
  for (const auto& name : std::get<std::vector<fs::path>>(names)) {
    copyTree(source / name, destination / name, manner, depth + 1);
  }
  setTimesAndMode(destination, status);
}

void copyTree(const fs::path& source, const fs::path& destination, Manner manner, int depth) {
  const auto status = statusOf(source, depth == 0 ? 0 : AT_SYMLINK_NOFOLLOW);
  if (S_ISDIR(status.st_mode)) return copyDirectory(source, destination, status, manner, depth);
  if (S_ISREG(status.st_mode)) {
    if (manner.content == Content::share && share(source, destination, status)) return;
    return copyFile(source, destination, status);
  }
  if (S_ISLNK(status.st_mode) && manner.links == Links::keep) {
    return fs::copy_symlink(source, destination);
  }
  throw PlatformException("Neither a file nor a directory: " + source.string());
}

}  // namespace

MaybeError FileManager::copyItem(const fs::path& source, const fs::path& destination, Links links,
                                 Content content) {
  if (itemExists(destination)) {
    return Error::fromErrorNumber("copy to " + destination.string(), EEXIST);
  }
  try {
    copyTree(source, destination, {links, content}, 0);
    return std::nullopt;
  } catch (const std::exception& exception) {
    static_cast<void>(removeItem(destination));
    return Error{exception.what()};
  }
}

}  // namespace ztp
