// The result: unpacks the server's archive and puts the converted file and the logs where the host
// asked for them.
//
// What is inside the archive comes from the server: Delivery looks after what of it may go where.
#include "app/Ending.h"
#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

// What the tool says about its result.
struct Result {
  std::int64_t toolExitCode = 0;
  std::string destFileName;

  static std::optional<Result> fromFile(const std::filesystem::path& path) {
    const auto list = PropertyList::fromFile(path);
    if (!list) return std::nullopt;
    return Result{list->integer("toolExitCode").value_or(0),
                  list->string("destFileName").value_or("")};
  }
};

}  // namespace

void ZanburyToolProxy::transitionToStateWaitingForOutputArchive() {
  enterState(State::WaitingForOutputArchive);
}

void ZanburyToolProxy::sendOutputArchiveAcknowledgement() {
  sendMessageWithType(MessageType::OutputArchiveAcknowledgement);
}

void ZanburyToolProxy::consumeOutputArchive(const ZanburyToolProxyMessage& message) {
  outputArchivePath = message.bodyFilePath.value_or("");
  removeUploadedFiles();
  if (!unpackOutputArchive()) return;
  const auto directory = temporaryDirectoryPath / "OutputArchive";
  auto read = Result::fromFile(directory / "Result.plist");
  if (!read) {
    log("ERROR: Could not read Result.plist");
    endingCode_ = ending::resultUnreadable;
  }
  const auto result = std::move(read).value_or(Result{});
  if (result.toolExitCode != 0) {
    log("ERROR: toolExitCode is not zero: {}", result.toolExitCode);
    toolExitCode = result.toolExitCode;
  }
  if (destFilePath && !result.destFileName.empty()) {
    abortAfterFailedDelivery(delivery_->deliverConvertedFile(result.destFileName, *destFilePath));
    events_.deliveredFile();
  }
  if (logsDirPath) {
    abortAfterFailedDelivery(delivery_->deliverLogs(*logsDirPath));
    events_.deliveredLogs();
  }
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
  const bool didRun = Utilities::extractContentsOfZip(zip, temporaryDirectoryPath);
  try {
    if (didRun) delivery_.emplace(temporaryDirectoryPath, BlockingWait::glance);
  } catch (const PlatformException&) {
    delivery_.reset();
  }
  if (!delivery_) abortWithReason("Could not unzip OutputArchive.zip", std::nullopt, nullptr);
  return delivery_.has_value();
}

void ZanburyToolProxy::abortAfterFailedDelivery(const std::optional<Delivery::Failure>& failure) {
  if (failure) abortWithReason(failure->reason, failure->error, nullptr);
}

}  // namespace ztp
