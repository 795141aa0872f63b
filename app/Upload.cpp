// The upload of the archive, with its progress shown to the host.
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"

namespace ztp {

void ZanburyToolProxy::createInputArchive() {
  inputArchive_.emplace(directory_.temporaryDirectoryPath());
  inputArchive_->createInputArchive(environment_.sourceFilePath, secrets_.key(),
                                    secrets_.uploadIV(), maxInputArchiveSize);
}

void ZanburyToolProxy::transitionToStateSendingInputArchive() {
  enterState(State::SendingInputArchive);
  connection_->startWritingMessageWithType(MessageType::InputArchive,
                                           inputArchive_->inputArchivePath(), *this);
}

bool ZanburyToolProxy::messageShouldContinueWritingWithTotalBytesWritten(
    AsynchronousWriter& message, std::uint64_t total) {
  if (state == State::Aborted) return false;
  if (message.type == MessageType::InputArchive) {
    host_.sendProgressSectionWithTitle("Uploading encrypted file...", message.length);
    host_.sendProgressStatusWithValue(total);
  }
  return true;
}

void ZanburyToolProxy::messageDidFinishWritingAsynchronously(AsynchronousWriter& message) {
  if (state == State::Aborted) return;
  events_.uploaded(message.bodyBytesWritten);
  if (message.shouldAbort()) throw SessionFailure{"Could not write message asynchronously"};
  if (message.bodyBytesWritten < message.length) connection_->endStreamToServer();
  connection_->forgetWrittenMessage();
}

}  // namespace ztp
