// The result: unpacks the server's archive and puts the converted file and the logs where the host
// asked for them.
//
// What is inside the archive comes from the server: Delivery looks after what of it may go where.
#include "app/Ending.h"
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"
#include "platform/PropertyList.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

// What the tool says about its result.
struct ToolResult {
  std::int64_t toolExitCode = 0;
  std::string destFileName;

  static std::optional<ToolResult> fromFile(const std::filesystem::path& path) {
    const auto list = PropertyList::fromFile(path);
    if (!list) return std::nullopt;
    return ToolResult{list->integer("toolExitCode").value_or(0),
                      list->string("destFileName").value_or("")};
  }
};

void raise(const std::optional<Delivery::Failure>& failure) {
  if (failure) throw SessionFailure{std::string(failure->reason), failure->error};
}

}  // namespace

void ZanburyToolProxy::transitionToStateWaitingForOutputArchive() {
  enterState(State::WaitingForOutputArchive);
}

void ZanburyToolProxy::sendOutputArchiveAcknowledgement() {
  connection_->sendMessageWithType(MessageType::OutputArchiveAcknowledgement);
}

void ZanburyToolProxy::consumeOutputArchive(const Message& message) {
  inputArchive_->removeFiles();  // makes room for the result
  unpackOutputArchive(message.bodyFilePath.value_or(""));
  auto read =
      ToolResult::fromFile(directory_.temporaryDirectoryPath() / "OutputArchive" / "Result.plist");
  if (!read) {
    log("ERROR: Could not read Result.plist");
    events_.endsWith(ending::resultUnreadable);
  }
  const auto result = std::move(read).value_or(ToolResult{});
  if (result.toolExitCode != 0) {
    log("ERROR: toolExitCode is not zero: {}", result.toolExitCode);
    toolExitCode = result.toolExitCode;
  }
  deliver(result.destFileName);
}

void ZanburyToolProxy::unpackOutputArchive(const std::filesystem::path& outputArchivePath) {
  const auto& directory = directory_.temporaryDirectoryPath();
  const auto zip = directory / "OutputArchive.zip";
  if (!Utilities::decryptFile(outputArchivePath, zip, secrets_.key(), secrets_.resultIV())) {
    throw SessionFailure{"Could not decrypt OutputArchive.zip"};
  }
  // The archiver's status is not looked at: what counts is that the directory is there.
  const bool didRun = Utilities::extractContentsOfZip(zip, directory);
  try {
    if (didRun) delivery_.emplace(directory, BlockingWait::checkInterrupts);
  } catch (const PlatformException&) {
    delivery_.reset();
  }
  if (!delivery_) throw SessionFailure{"Could not unzip OutputArchive.zip"};
}

void ZanburyToolProxy::deliver(const std::string& destFileName) {
  const auto& destFilePath = environment_.destFilePath;
  if (destFilePath && !destFileName.empty()) {
    raise(delivery_->deliverConvertedFile(destFileName, *destFilePath));
    events_.deliveredFile();
  }
  if (environment_.logsDirPath) {
    raise(delivery_->deliverLogs(*environment_.logsDirPath));
    events_.deliveredLogs();
  }
}

}  // namespace ztp
