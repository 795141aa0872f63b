// Who follows a message that is written asynchronously.
#pragma once

#include <cstdint>

namespace ztp {

class AsynchronousWriter;

/// Receives the progress and the end of an asynchronous write. All calls come on the main thread,
/// from the run loop or, for the first step, from within the operation that starts the write.
class ZanburyToolProxyMessageDelegate {
 public:
  virtual ~ZanburyToolProxyMessageDelegate() = default;

  /// Asked after every step of the body, the one that finds the end of the file included, and never
  /// during the header; `total` counts the body bytes written so far. False stops the upload. The
  /// message must not be destroyed here.
  [[nodiscard]] virtual bool messageShouldContinueWritingWithTotalBytesWritten(
      AsynchronousWriter& message, std::uint64_t total) = 0;

  /// Called exactly once when the writing has ended for any reason; the message's `state` tells
  /// FinishedWriting from Aborted. The message may be destroyed here.
  virtual void messageDidFinishWritingAsynchronously(AsynchronousWriter& message) = 0;
};

}  // namespace ztp
