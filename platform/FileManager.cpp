// File-system operations over the standard library's, with errors as values.
#include "platform/FileManager.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"
#include "platform/ItemPath.h"
#include "platform/OpenFile.h"
#include "platform/TreeCopy.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

Error errorFor(std::string_view call, const fs::path& path, const std::error_code& code) {
  return {std::string(call) + " " + path.string() + ": " + code.message()};
}

Error errnoFor(std::string_view call, const fs::path& path) {
  return Error::fromErrno(std::string(call) + " " + path.string());
}

// Runs an operation on an open file; what goes wrong names the file.
template <typename Operation>
void withFile(std::optional<FileHandle> file, const fs::path& path, const Operation& operation) {
  if (!file) throw PlatformException(errnoFor("open", path));
  try {
    operation(*file);
  } catch (const PlatformException& exception) {
    throw PlatformException(std::string(exception.what()) + " (" + path.string() + ")");
  }
}

MaybeError maybe(std::string_view call, const fs::path& path, const std::error_code& code) {
  if (!code) return std::nullopt;
  return errorFor(call, path, code);
}

// Copies what a path leads to, to a name that is free.
void copyTo(const Directory& directory, const std::string& name, const fs::path& source) {
  TreeCopy copy(TreeCopy::Content::copy, std::nullopt, BlockingWait::checkInterrupts);
  struct stat status {};
  if (::stat(source.c_str(), &status) != 0) throw PlatformException(errnoFor("stat", source));
  if (S_ISDIR(status.st_mode)) {
    Directory from = Directory::at(source);
    return copy.copyDirectory(from, directory.makeSubdirectory(name));
  }
  if (!S_ISREG(status.st_mode)) {
    throw PlatformException("Neither a file nor a directory: " + source.string());
  }
  const int file = openFile(source, O_RDONLY | O_NONBLOCK);
  if (file < 0) throw PlatformException(errnoFor("open", source));
  copy.copyFile(FileHandle(file), directory, name);
}

}  // namespace

bool FileManager::itemExists(const fs::path& path) {
  std::error_code code;
  return fs::exists(fs::symlink_status(path, code));
}

bool FileManager::isSurelyAbsent(const fs::path& path) {
  std::error_code code;
  const auto status = fs::symlink_status(path, code);
  return status.type() == fs::file_type::not_found || code == std::errc::filename_too_long;
}

MaybeError FileManager::createEmptyFile(const fs::path& path, unsigned mode) {
  const int fileDescriptor = openFile(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
  if (fileDescriptor < 0) return errnoFor("open", path);
  ::close(fileDescriptor);
  return std::nullopt;
}

MaybeError FileManager::writeNewPrivateFile(const fs::path& path, DataView content) {
  constexpr mode_t ownerOnly = 0600;
  const int fileDescriptor = openFile(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, ownerOnly);
  if (fileDescriptor < 0) return errnoFor("open", path);
  FileHandle file(fileDescriptor);
  // The umask may have taken away what the owner needs. Nothing is in the file before its mode is
  // known to be right.
  if (::fchmod(fileDescriptor, ownerOnly) != 0) return errnoFor("chmod", path);
  try {
    file.writeData(content);
    file.closeAfterWriting();
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{std::string(exception.what()) + " (" + path.string() + ")"};
  }
}

MaybeError FileManager::createDirectory(const fs::path& path) {
  std::error_code code;
  fs::create_directories(path, code);
  return maybe("mkdir", path, code);
}

MaybeError FileManager::removeItem(const fs::path& path, TreeRemoval::Unremovable unremovable) {
  try {
    if (isSurelyAbsent(path)) return std::nullopt;
    const ItemPath item(path);
    TreeRemoval removal(BlockingWait::checkInterrupts, unremovable);
    removal.remove(Directory::at(item.parent), item.name);
    return removal.error();
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

MaybeError FileManager::copyItem(const fs::path& source, const fs::path& destination) {
  try {
    const ItemPath item(destination);
    const Directory directory = Directory::at(item.parent);
    if (directory.statusOf(item.name)) {
      return Error::fromErrorNumber("copy to " + destination.string(), EEXIST);
    }
    try {
      copyTo(directory, item.name, source);
      return std::nullopt;
    } catch (const PlatformException&) {
      TreeRemoval([] {}).remove(directory, item.name);
      throw;
    }
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

MaybeError FileManager::writeFile(const fs::path& path, DataView content) {
  try {
    withFile(FileHandle::forOverwritingAtPath(path), path, [&](FileHandle& file) {
      file.writeData(content);
      file.closeAfterWriting();
    });
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

Result<Data> FileManager::readFile(const fs::path& path, std::size_t maximum) {
  try {
    Data content;
    withFile(FileHandle::forReadingAtPath(path), path,
             [&](FileHandle& file) { content = file.readDataOfLength(maximum + 1); });
    if (content.size() > maximum) return Error::fromErrorNumber("read " + path.string(), EFBIG);
    return content;
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

Result<std::uint64_t> FileManager::fileSize(const fs::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return errnoFor("stat", path);
  return static_cast<std::uint64_t>(status.st_size);
}

Result<std::vector<fs::path>> FileManager::contentsOfDirectory(const fs::path& path) {
  std::error_code code;
  std::vector<fs::path> names;
  fs::directory_iterator entry(path, code);
  while (!code && entry != fs::directory_iterator()) {
    names.push_back(entry->path().filename());
    entry.increment(code);
  }
  if (code) return errorFor("opendir", path, code);
  return names;
}

}  // namespace ztp
