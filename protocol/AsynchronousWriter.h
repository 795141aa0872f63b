// The role of a large message that is written through the run loop: the content of a file, without
// ever blocking the loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/Data.h"
#include "platform/DelayedPerform.h"
#include "platform/FileHandle.h"
#include "platform/ReadinessWatcher.h"
#include "protocol/ZanburyToolProxyMessage.h"

namespace ztp {

/// One message while it is written asynchronously; `startWritingMessageWithType` makes it and says
/// what its maker must do. Destroying it ends the write silently: nothing stays registered with the
/// run loop, the delegate is not told, and the stream, which may be closed by now, is not touched.
class AsynchronousWriter final : public ZanburyToolProxyMessage {
 public:
  /// Will write what is in the open file to the stream's descriptor, which is non-blocking.
  AsynchronousWriter(Type messageType, std::uint64_t bodyLength, FileHandle source, int stream,
                     ZanburyToolProxyMessageDelegate& progressDelegate);

  /// Begins to write, with the first step.
  void transitionToStateWritingAsynchronously();
  /// One step; arranges for the next one.
  void continueWritingAsynchronously();
  /// Ends the write: state Aborted or FinishedWriting. The delegate may destroy the message
  /// meanwhile.
  void transitionToStateFinishedWritingAndAbort(bool abort);

  /// Bytes of body written so far.
  std::uint64_t bodyBytesWritten = 0;

 private:
  /// How a step went on.
  enum class Step { progressed, streamFull, failedForNow, finished, failed };

  [[nodiscard]] Step performStep();
  void loadSourceBuffer();
  [[nodiscard]] Step writeSourceBuffer();
  void arrangeStepAfter(Step step);

  /// The header has been written completely.
  bool didWriteHeader = false;
  /// The stream's descriptor, borrowed; -1 when none.
  int writeFileDescriptor;
  /// Hears of progress and end; borrowed, null when it has heard of the end.
  ZanburyToolProxyMessageDelegate* delegate;
  /// The file being sent, open for reading.
  std::optional<FileHandle> sourceFileHandle;
  /// The chunk (header or body) now being written; absent between two.
  std::optional<DataView> sourceBuffer;
  /// Bytes of `sourceBuffer` written so far.
  std::uint64_t sourceBufferBytesWritten = 0;

  /// What `sourceBuffer` shows: one buffer for all chunks of the file.
  Data sourceStorage_;
  /// At most one of the two is waiting for the next step.
  std::optional<DelayedPerform> nextStep_;
  std::optional<ReadinessWatcher> untilWritable_;
};

}  // namespace ztp
