// Copied, zipped, encrypted: what a step has used up goes with the next one.
#include "app/InputArchive.h"

#include "app/SessionFailure.h"
#include "app/WorkingDirectory.h"
#include "platform/FileManager.h"
#include "platform/ItemPath.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

}  // namespace

InputArchive::InputArchive(const std::filesystem::path& temporaryDirectoryPath)
    : directory_(temporaryDirectoryPath / "InputArchive"),
      zipPath_(temporaryDirectoryPath / "InputArchive.zip"),
      inputArchivePath_(temporaryDirectoryPath / "InputArchive.zip-encrypted") {}

void InputArchive::createInputArchive(const std::optional<std::string>& sourceFilePath,
                                      AESKeyBytes key, DataView initializationVector,
                                      std::int64_t maxInputArchiveSize) {
  if (const auto error = FileManager::createDirectory(directory_)) {
    throw SessionFailure{"Could not create InputArchive directory", error};
  }
  copySourceFile(sourceFilePath);
  zip();
  encrypt(key, initializationVector);
  checkSize(maxInputArchiveSize);
}

void InputArchive::copySourceFile(const std::optional<std::string>& sourceFilePath) const {
  const auto source = withoutTrailingSlashes(sourceFilePath.value_or(""));
  const auto error = source.empty() ? std::optional(Error{"EXPORT_FILE_PATH is not set"})
                                    : FileManager::copyItem(source, directory_ / source.filename());
  if (!error) return;
  throw SessionFailure{"Could not copy the source file to the InputArchive directory", error};
}

// The archiver's status is not looked at: what counts is that the archive is there.
void InputArchive::zip() const {
  if (Utilities::createZip(zipPath_, directory_) && FileManager::itemExists(zipPath_)) return;
  throw SessionFailure{"Could not create InputArchive.zip"};
}

void InputArchive::encrypt(AESKeyBytes key, DataView initializationVector) const {
  if (Utilities::encryptFile(zipPath_, inputArchivePath_, key, initializationVector)) return;
  throw SessionFailure{"Could not encrypt InputArchive.zip"};
}

void InputArchive::checkSize(std::int64_t maxInputArchiveSize) const {
  const auto size = static_cast<std::int64_t>(Utilities::fileSizeForPath(inputArchivePath_));
  if (maxInputArchiveSize <= 0 || size <= maxInputArchiveSize) return;
  log("ERROR: The input archive has {} bytes, the server accepts {}", size, maxInputArchiveSize);
  throw SessionFailure{"Input archive is too big"};
}

void InputArchive::removeFiles() const {
  WorkingDirectory::removeItemAtPath(directory_);
  WorkingDirectory::removeItemAtPath(inputArchivePath_);
}

}  // namespace ztp
