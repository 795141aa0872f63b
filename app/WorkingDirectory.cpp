// Whatever refuses the removal, memory included, there is another way to try.
#include "app/WorkingDirectory.h"

#include <string_view>
#include <vector>

#include "platform/FileManager.h"
#include "platform/LastResort.h"
#include "platform/Log.h"
#include "platform/System.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

constexpr std::string_view fallbackRoot = "/tmp";
constexpr std::string_view directoryPrefix = "ZanburyToolProxy.";

std::filesystem::path safeRoot() {
  const auto wanted = system::temporaryRoot();
  if (auto root = TemporaryDirectory::safeRoot(wanted)) return *std::move(root);
  log("ERROR: Others may write to {}: the working directory is made in {}",
      printable(wanted.string()), fallbackRoot);
  return fallbackRoot;
}

// False when it may still be there and no other program could be started either.
bool tryToRemove(const std::filesystem::path& path) {
  if (path.empty() || FileManager::isSurelyAbsent(path)) return true;
  const auto error = FileManager::removeItem(path, TreeRemoval::Unremovable::empty);
  if (!error) return true;
  log("ERROR: Could not remove file, error = {}", printable(error->description));
  return ZanburyToolProxyUtilities::runTaskWithLaunchPath(
      "/bin/rm", std::vector<std::string>{"-rf", path.string()});
}

}  // namespace

WorkingDirectory::~WorkingDirectory() {
  try {
    const bool isGone = !temporaryDirectory_ || tryToRemove(temporaryDirectory_->path());
    if (!isGone) LastResort::removeDirectory();
  } catch (const std::exception&) {
    LastResort::removeDirectory();
  }
  LastResort::remember({});
}

void WorkingDirectory::createTemporaryDirectory() {
  const auto root = safeRoot();
  TemporaryDirectory::removeStale(root, directoryPrefix);
  temporaryDirectory_ = TemporaryDirectory::create(root, directoryPrefix);
  if (!temporaryDirectory_) return;
  LastResort::remember(temporaryDirectory_->path());
  temporaryDirectoryPath_ = temporaryDirectory_->path();
}

void WorkingDirectory::removeItemAtPath(const std::filesystem::path& path) {
  static_cast<void>(tryToRemove(path));
}

}  // namespace ztp
