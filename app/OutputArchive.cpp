// The result: unpacks the server's archive and puts the converted file and the logs where the host
// asked for them.
//
// What is inside the archive comes from the server. Nothing that a link or a name in it leads to
// outside the unpacked directory is ever delivered.
#include <algorithm>
#include <utility>

#include "app/ZanburyToolProxy.h"
#include "platform/FileManager.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;
using Utilities = ZanburyToolProxyUtilities;

// The path with `name` below it, an absolute name included.
fs::path itemBelow(const fs::path& directory, const std::string& name) {
  return directory.string() + "/" + name;
}

bool isInside(const fs::path& directory, const fs::path& path) {
  const auto [end, unused] =
      std::mismatch(directory.begin(), directory.end(), path.begin(), path.end());
  return end == directory.end() && path != directory;
}

// Copies an item of the unpacked directory to a path of the host. The directory goes soon: on the
// same file system the bytes need not be copied, however many they are.
MaybeError copyToHost(const fs::path& directory, const fs::path& item,
                      const fs::path& destination) {
  std::error_code code;
  const fs::path root = fs::canonical(directory, code);
  const fs::path source = code ? fs::path() : fs::canonical(item, code);
  if (code) return Error{"stat " + item.string() + ": " + code.message()};
  if (!isInside(root, source)) return Error{item.string() + ": not inside the result"};
  return FileManager::copyItem(source, destination, FileManager::Links::refuse,
                               FileManager::Content::share);
}

// What the tool says about its result.
struct Result {
  std::int64_t toolExitCode = 0;
  std::string destFileName;

  static Result fromFile(const fs::path& path) {
    const auto list = PropertyList::fromFile(path);
    if (!list) {
      log("ERROR: Could not read Result.plist");
      return {};
    }
    return {list->integer("toolExitCode").value_or(0), list->string("destFileName").value_or("")};
  }
};

}  // namespace

void ZanburyToolProxy::transitionToStateWaitingForOutputArchive() {
  state = State::WaitingForOutputArchive;
}

void ZanburyToolProxy::sendOutputArchiveAcknowledgement() {
  sendMessageWithType(MessageType::OutputArchiveAcknowledgement);
}

void ZanburyToolProxy::consumeOutputArchive(const ZanburyToolProxyMessage& message) {
  outputArchivePath = message.bodyFilePath.value_or("");
  removeUploadedFiles();
  if (!unpackOutputArchive()) return;
  const auto directory = temporaryDirectoryPath / "OutputArchive";
  const auto result = Result::fromFile(directory / "Result.plist");
  if (result.toolExitCode != 0) {
    log("ERROR: toolExitCode is not zero: {}", result.toolExitCode);
    toolExitCode = result.toolExitCode;
  }
  if (destFilePath && !result.destFileName.empty()) {
    deliverConvertedFile(directory, result.destFileName);
  }
  if (logsDirPath) deliverLogs(directory);
}

void ZanburyToolProxy::removeUploadedFiles() {
  if (inputArchivePath.empty()) return;
  removeItemAtPath(inputArchivePath.parent_path() / "InputArchive");
  removeItemAtPath(inputArchivePath);
}

bool ZanburyToolProxy::unpackOutputArchive() {
  const auto zip = temporaryDirectoryPath / "OutputArchive.zip";
  const auto initializationVector =
      outputArchiveIV ? std::optional(DataView(*outputArchiveIV)) : std::nullopt;
  if (!Utilities::decryptFile(outputArchivePath, zip, AESKeyBytes{viewOf(symmetricKey)},
                              initializationVector)) {
    abortWithReason("Could not decrypt OutputArchive.zip", std::nullopt, nullptr);
    return false;
  }
  // The archiver's status is not looked at: what counts is that the directory is there.
  if (!Utilities::extractContentsOfZip(zip, temporaryDirectoryPath) ||
      !FileManager::itemExists(temporaryDirectoryPath / "OutputArchive")) {
    abortWithReason("Could not unzip OutputArchive.zip", std::nullopt, nullptr);
    return false;
  }
  return true;
}

MaybeError ZanburyToolProxy::deliver(const fs::path& directory, const fs::path& item,
                                     const fs::path& destination) {
  unfinishedDelivery_ = destination;
  auto error = copyToHost(directory, item, destination);
  unfinishedDelivery_.reset();
  return error;
}

void ZanburyToolProxy::removeUnfinishedDelivery() {
  if (unfinishedDelivery_) removeItemAtPath(*std::exchange(unfinishedDelivery_, std::nullopt));
}

void ZanburyToolProxy::deliverConvertedFile(const fs::path& directory,
                                            const std::string& destFileName) {
  removeItemAtPath(*destFilePath);
  if (const auto error = deliver(directory, itemBelow(directory, destFileName), *destFilePath)) {
    abortWithReason("Could not copy dest file to host path", error, nullptr);
  }
}

void ZanburyToolProxy::deliverLogs(const fs::path& directory) {
  if (FileManager::itemExists(*logsDirPath)) {
    replaceLogs(directory);
  } else if (const auto error = deliver(directory, directory / "Logs", *logsDirPath)) {
    abortWithReason("Could not copy logs to host path", error, nullptr);
  }
}

void ZanburyToolProxy::replaceLogs(const fs::path& directory) {
  for (const auto& path : Utilities::pathsForContentsOfDirectory(directory / "Logs")) {
    const auto destination = itemBelow(*logsDirPath, path.filename().string());
    removeItemAtPath(destination);
    if (const auto error = deliver(directory, path, destination)) {
      abortWithReason("Could not copy log file to host logs directory", error, nullptr);
    }
  }
}

}  // namespace ztp
