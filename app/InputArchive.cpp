// The upload: the source file as an encrypted zip archive, with its progress shown to the host.
#include "app/ZanburyToolProxy.h"
#include "platform/FileManager.h"
#include "platform/ItemPath.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

}  // namespace

void ZanburyToolProxy::createInputArchive() {
  const auto directory = temporaryDirectoryPath / "InputArchive";
  if (const auto error = FileManager::createDirectory(directory)) {
    abortWithReason("Could not create InputArchive directory", error, nullptr);
    return;
  }
  if (!copySourceFile(directory) || !zipAndEncrypt(directory)) return;
  const auto size = static_cast<std::int64_t>(Utilities::fileSizeForPath(inputArchivePath));
  if (maxInputArchiveSize > 0 && size > maxInputArchiveSize) {
    log("ERROR: The input archive has {} bytes, the server accepts {}", size, maxInputArchiveSize);
    abortWithReason("Input archive is too big", std::nullopt, nullptr);
  }
}

bool ZanburyToolProxy::copySourceFile(const std::filesystem::path& directory) {
  const auto source = withoutTrailingSlashes(sourceFilePath.value_or(""));
  const auto error = source.empty() ? std::optional(Error{"EXPORT_FILE_PATH is not set"})
                                    : FileManager::copyItem(source, directory / source.filename());
  if (!error) return true;
  abortWithReason("Could not copy the source file to the InputArchive directory", error, nullptr);
  return false;
}

bool ZanburyToolProxy::zipAndEncrypt(const std::filesystem::path& directory) {
  auto zip = directory;
  zip += ".zip";
  // The archiver's status is not looked at: what counts is that the archive is there.
  if (!Utilities::createZip(zip, directory) || !FileManager::itemExists(zip)) {
    abortWithReason("Could not create InputArchive.zip", std::nullopt, nullptr);
    return false;
  }
  auto encrypted = zip;
  encrypted += "-encrypted";
  if (!Utilities::encryptFile(zip, encrypted, AESKeyBytes{viewOf(symmetricKey)},
                              viewOf(inputArchiveIV))) {
    abortWithReason("Could not encrypt InputArchive.zip", std::nullopt, nullptr);
    return false;
  }
  inputArchivePath = encrypted;
  return true;
}

void ZanburyToolProxy::transitionToStateSendingInputArchive() {
  enterState(State::SendingInputArchive);
  pendingOutputMessage = ZanburyToolProxyMessage::startWritingMessageWithType(
      MessageType::InputArchive, inputArchivePath, *outputFileHandle, *this);
  // Without a message nothing would ever come back from the server.
  if (!pendingOutputMessage) {
    abortWithReason("Could not write message asynchronously", std::nullopt, nullptr);
  }
}

void ZanburyToolProxy::finishUploadProgress() {
  if (pendingOutputMessage &&
      pendingOutputMessage->bodyBytesWritten == pendingOutputMessage->length) {
    pendingOutputMessage->continueWritingAsynchronously();
  }
}

void ZanburyToolProxy::endStreamInsideAFrame() {
  if (outputFileHandle && outputFileHandle->isWriting()) endStreamToServer();
}

void ZanburyToolProxy::endStreamToServer() {
  if (!outputFileHandle) return;
  outputFileHandle->close();
  outputFileHandle.reset();
}

bool ZanburyToolProxy::messageShouldContinueWritingWithTotalBytesWritten(
    ZanburyToolProxyMessage& message, std::uint64_t total) {
  if (state == State::Aborted) return false;
  if (message.type == MessageType::InputArchive) {
    sendProgressSectionWithTitle("Uploading encrypted file...", message.length);
    sendProgressStatusWithValue(total);
  }
  return true;
}

void ZanburyToolProxy::messageDidFinishWritingAsynchronously(ZanburyToolProxyMessage& message) {
  if (state == State::Aborted) return;
  events_.uploaded(message.bodyBytesWritten);
  perform([&] {
    if (message.shouldAbort()) {
      abortWithReason("Could not write message asynchronously", std::nullopt, nullptr);
    }
    if (message.bodyBytesWritten < message.length) endStreamToServer();
  });
  pendingOutputMessage.reset();
}

}  // namespace ztp
