// Walks down a tree with one descriptor a level on either side. Files get a second name where that
// may be, are copied inside the kernel where it can, and piece by piece elsewhere.
#include "platform/TreeCopy.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "platform/Error.h"
#include "platform/System.h"

namespace ztp {
namespace {

constexpr std::size_t pieceSize = 8'388'608;
constexpr std::size_t bufferSize = 262'144;
constexpr mode_t permissionBits = 0777;
constexpr mode_t ownerOnly = 0600;

[[noreturn]] void fail(std::string_view call, const Directory& directory, const std::string& name) {
  throw PlatformException(
      Error::fromErrno(std::string(call) + " " + directory.pathOf(name).string()));
}

[[noreturn]] void refuse(std::string_view reason, const Directory& directory,
                         const std::string& name) {
  throw PlatformException(std::string(reason) + ": " + directory.pathOf(name).string());
}

// Not every file system has permissions, and not every one takes them from everybody.
void setTimesAndMode(int fileDescriptor, const struct stat& status) {
  static_cast<void>(::futimens(fileDescriptor, system::timesOf(status).data()));
  static_cast<void>(::fchmod(fileDescriptor, status.st_mode & permissionBits));
}

bool isUnsupported(int errorNumber) {
  return errorNumber == EXDEV || errorNumber == EINVAL || errorNumber == ENOSYS ||
         errorNumber == EOPNOTSUPP || errorNumber == EPERM;
}

}  // namespace

TreeCopy::TreeCopy(Content content, std::optional<LinkScope> scope, InterruptCheck check)
    : content_(content), scope_(std::move(scope)), check_(std::move(check)) {}

void TreeCopy::copyDirectory(Directory& from, const Directory& to) {
  if (depth_ >= maximumDepth) {
    throw PlatformException("Too many nested directories: " + from.path().string());
  }
  ++depth_;
  from.rewind();
  while (const char* const name = from.nextName()) copyEntry(from, name, to);
  --depth_;
  setTimesAndMode(to.fileDescriptor(), from.status());
}

void TreeCopy::copyEntry(const Directory& from, const std::string& name, const Directory& to) {
  check_();
  const auto status = from.statusOf(name);
  if (!status || !S_ISDIR(status->st_mode)) return copyFileOrLink(from, name, to, name);
  const std::size_t positionHere = scope_ ? scope_->position.size() : 0;
  if (scope_) scope_->position += "/" + name;
  Directory source = from.subdirectory(name);
  copyDirectory(source, to.makeSubdirectory(name));
  if (scope_) scope_->position.resize(positionHere);
}

void TreeCopy::copyFileOrLink(const Directory& from, const std::string& name, const Directory& to,
                              const std::string& newName) {
  const auto status = from.statusOf(name);
  if (!status) {
    errno = ENOENT;
    fail("stat", from, name);
  }
  if (S_ISLNK(status->st_mode)) return copyLink(from, name, to, newName);
  if (!S_ISREG(status->st_mode)) refuse("Neither a file nor a directory", from, name);
  if (share(from, name, to, newName, *status)) return;
  copyFile(from.file(name, O_RDONLY), to, newName);
}

// A link that leads round in circles, or through a file, leads nowhere, and so not out.
bool TreeCopy::leadsOut(const LinkScope& scope, const std::string& name) {
  try {
    PathWalk walk(scope.root, scope.top);
    return walk.follow(scope.position + "/" + name) == PathWalk::End::outside;
  } catch (const PlatformException&) {
    return false;
  }
}

void TreeCopy::copyLink(const Directory& from, const std::string& name, const Directory& to,
                        const std::string& newName) {
  if (scope_) {
    if (leadsOut(*scope_, name)) refuse("A link leads out of the result", from, name);
  }
  const std::string target = from.targetOf(name);
  if (::symlinkat(target.c_str(), to.fileDescriptor(), newName.c_str()) != 0) {
    fail("symlink", to, newName);
  }
}

// Gives the file a second name. False, and nothing done, where a copy would turn out otherwise: in
// a directory that gives new files its own group or access list, for a set-id program, for a file
// that has another name already; and where the file system cannot do it.
bool TreeCopy::share(const Directory& from, const std::string& name, const Directory& to,
                     const std::string& newName, const struct stat& status) {
  if (content_ == Content::copy || status.st_nlink != 1 ||
      (status.st_mode & (S_ISUID | S_ISGID)) != 0 || status.st_uid != ::geteuid() ||
      status.st_gid != ::getegid()) {
    return false;
  }
  if (!sharesThere_) sharesThere_ = !system::hasInheritedAttributes(to.fileDescriptor());
  return *sharesThere_ && ::linkat(from.fileDescriptor(), name.c_str(), to.fileDescriptor(),
                                   newName.c_str(), 0) == 0;
}

void TreeCopy::copyFile(FileHandle from, const Directory& to, const std::string& newName) {
  struct stat status {};
  if (::fstat(from.fileDescriptor(), &status) != 0) fail("stat", to, newName);
  if (!S_ISREG(status.st_mode)) refuse("Copied from something that is not a file", to, newName);
  if (system::cloneFile(from.fileDescriptor(), to.fileDescriptor(), newName.c_str())) {
    return setTimesAndMode(to.file(newName, O_RDONLY).fileDescriptor(), status);
  }
  FileHandle file = to.file(newName, O_WRONLY | O_CREAT | O_EXCL, ownerOnly);
  try {
    copyContent(from, file);
    setTimesAndMode(file.fileDescriptor(), status);
    file.closeAfterWriting();
  } catch (const PlatformException& exception) {
    throw PlatformException(std::string(exception.what()) + " (" + to.pathOf(newName).string() +
                            ")");
  }
}

void TreeCopy::copyContent(FileHandle& from, FileHandle& to) {
  bool copiedAny = false;
  for (;;) {
    const auto copied = system::copyInKernel(from.fileDescriptor(), to.fileDescriptor(), pieceSize);
    if (!copied && !isUnsupported(errno)) throw PlatformException(Error::fromErrno("copy"));
    // Some file systems answer 0 to everything: the end is believed only after some bytes.
    if (!copied || (*copied == 0 && !copiedAny)) return copyThroughBuffer(from, to);
    if (*copied == 0) return;
    copiedAny = true;
    check_();
  }
}

void TreeCopy::copyThroughBuffer(FileHandle& from, FileHandle& to) {
  for (;;) {
    const Data piece = from.readDataOfLength(bufferSize);
    if (piece.empty()) return;
    to.writeData(piece);
    check_();
  }
}

}  // namespace ztp
