// The two FIFOs shared with the host: progress out, cancel and forwarded bytes in.
//
// A FIFO message is the length in bytes of a property list in decimal, a line feed, and the
// property list in its XML form. Nothing is read back in this form: what the host sends are raw
// bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/BackgroundReader.h"
#include "platform/Data.h"
#include "platform/FileHandle.h"
#include "platform/PropertyList.h"
#include "platform/Timer.h"

namespace ztp {

/// Owns both FIFOs; each is closed when this object goes. One that could not be opened, or whose
/// end was reached, is done without. A message that cannot be sent and a host that is gone raise
/// SessionFailure.
class HostChannel {
 public:
  /// Decides what bytes from the host mean; true when reading may go on.
  using Consumer = std::function<bool(DataView)>;
  /// How the input FIFO is read: whenever it has something, or every 0.1 seconds. Who polls it
  /// looks after the host's process as well whenever nothing is there; 0: no process is known.
  struct Polling {
    std::int64_t hostPid = 0;
  };

  HostChannel() = default;
  HostChannel(const HostChannel&) = delete;
  HostChannel& operator=(const HostChannel&) = delete;
  ~HostChannel();

  /// Opens both for reading and writing, so that neither waits for its other end. A FIFO that
  /// cannot be opened is tried for about ten seconds, with a log line each time. No path: no FIFO.
  void openFifos(const std::optional<std::string>& inputFifoPath,
                 const std::optional<std::string>& outputFifoPath);
  /// From now on the consumer gets what the host sends.
  void startReadingInputFifoFileHandle(const std::optional<Polling>& polling, Consumer consumer);

  /// Readable when `checkInput` will find something; -1: nothing is to be watched.
  [[nodiscard]] int inputDescriptor() const noexcept;
  /// Looks, without waiting, for what the host has sent (unless it would not be consumed now) and
  /// whether a host that is polled is still there. Does nothing before the reading has begun.
  void checkInput(bool canConsume);

  /// A title that is absent, or a maximum of 0, is left out of the message.
  void sendProgressSectionWithTitle(std::optional<std::string_view> title, std::uint64_t maxValue);
  void sendProgressStatusWithValue(std::uint64_t value);
  void sendFifoMessage(const PropertyListDictionary& dictionary);

  /// Whether there is a FIFO to write to.
  [[nodiscard]] bool hasOutput() const noexcept { return outputFifoFileHandle.has_value(); }
  /// Writes bytes as they are. Raises PlatformException. Nothing is written behind half a message:
  /// what the host would read then would not be one.
  void writeToOutputFifo(DataView bytes);
  /// Brings what was written to its destination (fsync). Raises PlatformException.
  void synchronizeOutputFifo();

 private:
  void inputFifoFileHandleDidRead(DataView data);
  void inputFifoTimerFired();
  void checkHost() const;
  bool consumeInputFifoData(DataView data);
  void closeInput();

  std::optional<FileHandle> inputFifoFileHandle;
  std::optional<FileHandle> outputFifoFileHandle;
  std::optional<Timer> inputFifoTimer;
  std::optional<BackgroundReader> reader_;
  std::optional<Polling> polling_;
  Consumer consumer_;
  bool isInputFifo_ = false;
};

}  // namespace ztp
