// File-system operations over the standard library's, with errors as values.
#include "platform/FileManager.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"
#include "platform/System.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

// Read and written in pieces, so that a cancel is seen between them.
constexpr std::size_t pieceSize = 8'388'608;

Error errorFor(std::string_view call, const fs::path& path, const std::error_code& code) {
  return {std::string(call) + " " + path.string() + ": " + code.message()};
}

Error errnoFor(std::string_view call, const fs::path& path) {
  return Error::fromErrno(std::string(call) + " " + path.string());
}

MaybeError maybe(std::string_view call, const fs::path& path, const std::error_code& code) {
  if (!code) return std::nullopt;
  return errorFor(call, path, code);
}

int openFile(const fs::path& path, int flags, unsigned mode = 0) {
  int fileDescriptor = -1;
  do {
    fileDescriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (fileDescriptor < 0 && errno == EINTR);
  return fileDescriptor;
}

// Fills `data` up to the file's end; `spare` bytes of capacity stay free.
void readToEnd(int fileDescriptor, Data& data, std::size_t spare) {
  for (;;) {
    const std::size_t filled = data.size();
    if (data.capacity() - filled < spare + 1) data.reserve(filled + filled / 2 + spare + 65'536);
    const std::size_t room = std::min(data.capacity() - filled - spare, pieceSize);
    data.resize(filled + room);
    const ssize_t count = ::read(fileDescriptor, data.data() + filled, room);
    const int errorNumber = errno;
    data.resize(filled + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (count == 0) return;
    if (count < 0 && errorNumber != EINTR) {
      throw PlatformException(Error::fromErrorNumber("read", errorNumber));
    }
    BlockingWait::glance();
  }
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

MaybeError FileManager::createDirectory(const fs::path& path) {
  std::error_code code;
  fs::create_directories(path, code);
  return maybe("mkdir", path, code);
}

MaybeError FileManager::removeItem(const fs::path& path) {
  std::error_code code;
  fs::remove_all(path, code);
  return maybe("remove", path, code);
}

MaybeError FileManager::setMode(const fs::path& path, unsigned mode) {
  if (::chmod(path.c_str(), mode) == 0) return std::nullopt;
  return errnoFor("chmod", path);
}

MaybeError FileManager::writeFile(const fs::path& path, DataView content) {
  const int fileDescriptor = openFile(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (fileDescriptor < 0) return errnoFor("open", path);
  FileHandle file(fileDescriptor);
  try {
    for (std::size_t offset = 0; offset < content.size(); offset += pieceSize) {
      file.writeData(content.subspan(offset, std::min(pieceSize, content.size() - offset)));
      BlockingWait::glance();
    }
    file.closeAfterWriting();
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{std::string(exception.what()) + " (" + path.string() + ")"};
  }
}

std::variant<Data, Error> FileManager::readFile(const fs::path& path, std::size_t spare) {
  const int fileDescriptor = openFile(path, O_RDONLY);
  if (fileDescriptor < 0) return errnoFor("open", path);
  const FileHandle file(fileDescriptor);
  struct stat status {};
  if (::fstat(fileDescriptor, &status) != 0) return errnoFor("stat", path);
  try {
    Data data;
    // One byte more than the size, so that the read that finds the end needs no more room.
    data.reserve(static_cast<std::size_t>(status.st_size) + spare + 1);
    readToEnd(fileDescriptor, data, spare);
    system::dropFromFileCache(fileDescriptor);
    return data;
  } catch (const std::exception& exception) {
    return Error{std::string(exception.what()) + " (" + path.string() + ")"};
  }
}

std::variant<std::uint64_t, Error> FileManager::fileSize(const fs::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return errnoFor("stat", path);
  return static_cast<std::uint64_t>(status.st_size);
}

std::variant<std::vector<fs::path>, Error> FileManager::contentsOfDirectory(const fs::path& path) {
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
