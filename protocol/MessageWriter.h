// The role of a small message that is written: whole before the call returns.
#pragma once

#include "protocol/ZanburyToolProxyMessage.h"

namespace ztp {

/// One message that is written at once: set its type, its length and its body, and write it. It
/// stays in the state None.
class MessageWriter final : public ZanburyToolProxyMessage {
 public:
  /// Writes the message and waits while the stream is full. A message that announces a body but has
  /// none is dropped: true, and not even its header is written. False, with the reason logged, when
  /// the body's file cannot be read or is shorter than announced, or the stream cannot be written.
  [[nodiscard]] bool writeToFileHandle(FileHandle& fileHandle) const;
};

}  // namespace ztp
