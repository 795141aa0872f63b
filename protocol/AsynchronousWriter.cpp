// The asynchronous writer: a large file, one write a step and one step a turn of the run loop, so
// that the stream and the host are attended to meanwhile. A stream without room is waited for
// through the loop as well; it never stalls it.
#include "protocol/AsynchronousWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "platform/Log.h"
#include "protocol/ZanburyToolProxyMessageDelegate.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

constexpr std::chrono::milliseconds nextTurn{0};
constexpr std::chrono::milliseconds retryDelay{100};

// Kept as numbers: interrupted, and "would block" as the systems number it (one system's "would
// block" is another's "deadlock avoided", which no write on a pipe reports).
constexpr std::array<int, 3> transientErrors = {4, 11, 35};

bool isTransient(int errorNumber) {
  return std::find(transientErrors.begin(), transientErrors.end(), errorNumber) !=
         transientErrors.end();
}

// True as well when the write would fail: its error then says why.
bool canWriteNow(int fileDescriptor) {
  pollfd descriptor{fileDescriptor, POLLOUT, 0};
  return ::poll(&descriptor, 1, 0) == 1;
}

}  // namespace

std::unique_ptr<AsynchronousWriter> ZanburyToolProxyMessage::startWritingMessageWithType(
    Type type, const std::filesystem::path& filePath, FileHandle& fileHandle,
    ZanburyToolProxyMessageDelegate& progressDelegate) {
  const std::uint64_t size = ZanburyToolProxyUtilities::fileSizeForPath(filePath);
  if (size == 0) return nullptr;
  auto source = FileHandle::forReadingAtPath(filePath);
  if (!source) return nullptr;

  const int stream = fileHandle.fileDescriptor();
  ZanburyToolProxyUtilities::setBlocking(false, stream);
  auto message = std::make_unique<AsynchronousWriter>(type, size, *std::move(source), stream,
                                                      progressDelegate);
  message->transitionToStateWritingAsynchronously();
  return message;
}

AsynchronousWriter::AsynchronousWriter(Type messageType, std::uint64_t bodyLength,
                                       FileHandle source, int stream,
                                       ZanburyToolProxyMessageDelegate& progressDelegate)
    : writeFileDescriptor(stream),
      delegate(&progressDelegate),
      sourceFileHandle(std::move(source)) {
  type = messageType;
  length = bodyLength;
}

void AsynchronousWriter::transitionToStateWritingAsynchronously() {
  state = State::WritingAsynchronously;
  continueWritingAsynchronously();
}

void AsynchronousWriter::continueWritingAsynchronously() {
  Step step = Step::failed;
  try {
    step = performStep();
    arrangeStepAfter(step);
  } catch (const std::exception& exception) {
    // The file cannot be read any more: unlike a stream that broke, nothing else would end the
    // session, because the server waits for the rest.
    logLine(exception.what());
    step = Step::failed;
  }
  // Last, and nothing after it: the delegate may destroy the message.
  if (step == Step::finished || step == Step::failed) {
    transitionToStateFinishedWritingAndAbort(step == Step::failed);
  }
}

AsynchronousWriter::Step AsynchronousWriter::performStep() {
  if (!sourceBuffer) loadSourceBuffer();
  if (sourceBuffer && sourceBufferBytesWritten < sourceBuffer->size()) {
    const Step step = writeSourceBuffer();
    if (step != Step::progressed) return step;
  }
  if (didWriteHeader && delegate != nullptr &&
      !delegate->messageShouldContinueWritingWithTotalBytesWritten(*this, bodyBytesWritten)) {
    sourceBuffer.reset();
  }
  if (!sourceBuffer || sourceBuffer->empty()) return Step::finished;
  if (sourceBufferBytesWritten == sourceBuffer->size()) {
    didWriteHeader = true;  // the first buffer is the header
    sourceBuffer.reset();
  }
  return Step::progressed;
}

void AsynchronousWriter::loadSourceBuffer() {
  sourceBufferBytesWritten = 0;
  if (didWriteHeader) {
    sourceStorage_.resize(fileChunkSize);
    sourceBuffer = DataView(sourceStorage_).first(sourceFileHandle->read(sourceStorage_));
  } else if (auto header = headerDataWithType(type, length)) {
    sourceStorage_ = std::move(*header);
    sourceBuffer = sourceStorage_;
  }
}

AsynchronousWriter::Step AsynchronousWriter::writeSourceBuffer() {
  if (!canWriteNow(writeFileDescriptor)) return Step::streamFull;
  const DataView rest = sourceBuffer->subspan(sourceBufferBytesWritten);
  const ssize_t written = ::write(writeFileDescriptor, rest.data(), rest.size());
  if (written < 0) {
    const int errorNumber = errno;
    logErrno("write");
    // A broken stream is a finished write and no aborted one: the end of what the server sends
    // ends the session, with the server's last words read.
    return isTransient(errorNumber) ? Step::failedForNow : Step::finished;
  }
  const auto count = static_cast<std::uint64_t>(written);
  sourceBufferBytesWritten += count;
  if (didWriteHeader) bodyBytesWritten += count;
  return Step::progressed;
}

void AsynchronousWriter::arrangeStepAfter(Step step) {
  nextStep_.reset();
  untilWritable_.reset();
  const auto continueWriting = [this] { continueWritingAsynchronously(); };
  switch (step) {
    case Step::progressed:
      nextStep_.emplace(nextTurn, continueWriting);
      break;
    case Step::failedForNow:
      nextStep_.emplace(retryDelay, continueWriting);
      break;
    case Step::streamFull:
      untilWritable_.emplace(writeFileDescriptor, ReadinessWatcher::Interest::writable,
                             continueWriting);
      break;
    case Step::finished:
    case Step::failed:
      break;
  }
}

void AsynchronousWriter::transitionToStateFinishedWritingAndAbort(bool abort) {
  nextStep_.reset();
  untilWritable_.reset();
  sourceBuffer.reset();
  sourceStorage_ = Data{};
  if (sourceFileHandle) sourceFileHandle->close();
  sourceFileHandle.reset();
  if (writeFileDescriptor != -1) {
    ZanburyToolProxyUtilities::setBlocking(true, writeFileDescriptor);
    writeFileDescriptor = -1;
  }
  state = abort ? State::Aborted : State::FinishedWriting;
  // The delegate may destroy the message, so everything is released before it is told.
  auto* const receiver = std::exchange(delegate, nullptr);
  if (receiver != nullptr) receiver->messageDidFinishWritingAsynchronously(*this);
}

}  // namespace ztp
