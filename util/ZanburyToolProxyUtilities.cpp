// Programs run to their end, archives, directories, descriptors and the system's version.
#include "util/ZanburyToolProxyUtilities.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/ChildProcess.h"
#include "platform/FileManager.h"
#include "platform/Log.h"
#include "platform/System.h"
#include "util/ErrorLog.h"

namespace ztp {
namespace {

// What the host tells this program alone, the private identity among it.
constexpr std::string_view privatePrefix = "EXPORT_";

std::vector<std::string> environmentForTasks() {
  std::vector<std::string> result;
  for (char** entry = system::environment(); entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view variable = *entry;
    if (!variable.starts_with(privatePrefix)) result.emplace_back(variable);
  }
  return result;
}

FileHandle nullDevice() {
  const int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (descriptor < 0) throw PlatformException(Error::fromErrno("open /dev/null"));
  return FileHandle(descriptor);
}

}  // namespace

bool ZanburyToolProxyUtilities::createZip(const std::filesystem::path& zip,
                                          const std::filesystem::path& directory) {
  return runTaskWithLaunchPath(system::archiverPath(),
                               {{"-c", "-k", "--keepParent", directory.string(), zip.string()}});
}

bool ZanburyToolProxyUtilities::extractContentsOfZip(const std::filesystem::path& zip,
                                                     const std::filesystem::path& destination) {
  return runTaskWithLaunchPath(system::archiverPath(),
                               {{"-x", "-k", zip.string(), destination.string()}});
}

bool ZanburyToolProxyUtilities::runTaskWithLaunchPath(
    const std::filesystem::path& launchPath,
    const std::optional<std::vector<std::string>>& arguments) {
  try {
    const FileHandle nothing = nullDevice();
    const int null = nothing.fileDescriptor();
    auto child = ChildProcess::launch(
        {launchPath, arguments.value_or(std::vector<std::string>{}), environmentForTasks()},
        {null, null, STDERR_FILENO});
    child.waitUntilExit();
    return true;
  } catch (const PlatformException&) {
    return false;
  }
}

std::vector<std::filesystem::path> ZanburyToolProxyUtilities::pathsForContentsOfDirectory(
    const std::filesystem::path& directory) {
  auto contents = FileManager::contentsOfDirectory(directory);
  if (!contents) {
    logError(contents.error());
    return {};
  }
  for (auto& path : *contents) path = directory / path;
  return *std::move(contents);
}

std::optional<FileHandle> ZanburyToolProxyUtilities::newFileHandleWithFileDescriptor(
    std::int32_t fileDescriptor) {
  if (fileDescriptor == -1) return std::nullopt;
  setBlocking(true, fileDescriptor);
  return FileHandle(fileDescriptor, FileHandle::Ownership::borrows);
}

void ZanburyToolProxyUtilities::setBlocking(bool blocking, std::int32_t fileDescriptor) {
  const int flags = ::fcntl(fileDescriptor, F_GETFL);
  const int wanted = blocking ? 0 : O_NONBLOCK;
  if ((flags & O_NONBLOCK) == wanted) return;
  if (::fcntl(fileDescriptor, F_SETFL, (flags & ~O_NONBLOCK) | wanted) == -1) logErrno("fcntl");
}

void ZanburyToolProxyUtilities::waitUntilFileDescriptorCanWrite(std::int32_t fileDescriptor) {
  if (fileDescriptor < 0) return;
  // Ready or given up, the caller tries its write and sees.
  static_cast<void>(BlockingWait::untilWritable(fileDescriptor));
}

std::uint64_t ZanburyToolProxyUtilities::fileSizeForPath(const std::filesystem::path& path) {
  const auto size = FileManager::fileSize(path);
  if (!size) logError(size.error());
  return size.valueOr(0);
}

std::optional<std::string> ZanburyToolProxyUtilities::systemVersion() {
  static const auto version = system::productVersion();
  return version;
}

}  // namespace ztp
