// Opening, reading in two ways, and messages in one piece.
#include "app/HostChannel.h"

#include <chrono>
#include <utility>

#include "app/SessionFailure.h"
#include "platform/BlockingWait.h"
#include "platform/Fifo.h"
#include "platform/Log.h"
#include "platform/Process.h"
#include "platform/TruncatedHeader.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using std::chrono::milliseconds;

constexpr int openAttempts = 100;
constexpr milliseconds timeBetweenAttempts{100};
constexpr milliseconds pollingInterval{100};
constexpr std::size_t readSize = 65'536;
constexpr std::size_t headerBufferSize = 11;

// Opens the FIFO unless it is open or there is none; true when nothing is left to do.
bool tryToOpen(const std::optional<std::string>& path, std::optional<FileHandle>& handle,
               std::string_view call) {
  if (!path || handle) return true;
  const int fileDescriptor = openFifo(*path);
  if (fileDescriptor == -1) logErrno(call);
  handle = ZanburyToolProxyUtilities::newFileHandleWithFileDescriptor(fileDescriptor);
  return handle.has_value();
}

// The attempts have said why; this says once which path it was and who gave it.
void logUnlessOpen(const std::optional<std::string>& path, const std::optional<FileHandle>& handle,
                   std::string_view variable) {
  if (path && !handle) log("ERROR: Could not open {}: {}", variable, printable(*path));
}

// The length line.
std::optional<std::string> header(std::size_t length) {
  auto line = truncatedHeader(std::to_string(length) + "\n", headerBufferSize);
  if (line.size() <= 1) return std::nullopt;
  return line;
}

}  // namespace

HostChannel::~HostChannel() {
  reader_.reset();
  for (auto* handle : {&inputFifoFileHandle, &outputFifoFileHandle}) {
    if (*handle) (*handle)->close();
  }
}

void HostChannel::openFifos(const std::optional<std::string>& inputFifoPath,
                            const std::optional<std::string>& outputFifoPath) {
  for (int attempt = 0; attempt < openAttempts; ++attempt) {
    const bool canRead = tryToOpen(inputFifoPath, inputFifoFileHandle, "open(readFifoPath)");
    const bool canWrite = tryToOpen(outputFifoPath, outputFifoFileHandle, "open(writeFifoPath)");
    if (canRead && canWrite) break;
    BlockingWait::sleepFor(timeBetweenAttempts);
  }
  logUnlessOpen(inputFifoPath, inputFifoFileHandle, "EXPORT_INPUT_FIFO_PATH");
  logUnlessOpen(outputFifoPath, outputFifoFileHandle, "EXPORT_OUTPUT_FIFO_PATH");
  isInputFifo_ = inputFifoFileHandle && isFifo(inputFifoFileHandle->fileDescriptor());
}

void HostChannel::startReadingInputFifoFileHandle(const std::optional<Polling>& polling,
                                                  Consumer consumer) {
  if (!inputFifoFileHandle) return;
  polling_ = polling;
  consumer_ = std::move(consumer);
  if (polling_) {
    inputFifoTimerFired();
    inputFifoTimer.emplace(pollingInterval, [this] { inputFifoTimerFired(); });
    return;
  }
  reader_.emplace(inputFifoFileHandle->fileDescriptor(), readSize,
                  [this](DataView data) { inputFifoFileHandleDidRead(data); });
  reader_->readInBackgroundAndNotify();
}

void HostChannel::inputFifoFileHandleDidRead(DataView data) {
  if (consumeInputFifoData(data)) reader_->readInBackgroundAndNotify();
}

void HostChannel::inputFifoTimerFired() {
  const Data data = inputFifoFileHandle ? inputFifoFileHandle->availableData() : Data{};
  if (data.empty()) {
    checkHost();
  } else {
    consumeInputFifoData(data);
  }
}

// What is no FIFO and has no bytes can be read all the time, and would be asked without a pause.
int HostChannel::inputDescriptor() const noexcept {
  return inputFifoFileHandle && isInputFifo_ ? inputFifoFileHandle->fileDescriptor() : -1;
}

void HostChannel::checkInput(bool canConsume) {
  if (!inputFifoFileHandle || !consumer_) return;
  if (canConsume) {
    const Data data = inputFifoFileHandle->availableData();
    if (!data.empty()) consumeInputFifoData(data);
  }
  // Whoever has no input FIFO that is polled has nobody who looks for the host either.
  if (polling_) checkHost();
}

void HostChannel::checkHost() const {
  if (polling_->hostPid != 0 && isProcessGone(polling_->hostPid)) {
    throw SessionFailure{"Host terminated"};
  }
}

bool HostChannel::consumeInputFifoData(DataView data) {
  if (data.empty()) {
    closeInput();
    return false;
  }
  try {
    return consumer_(data);
  } catch (const PlatformException&) {
    return false;  // whatever must end the session raises something else
  }
}

void HostChannel::closeInput() {
  reader_.reset();
  inputFifoFileHandle->close();
  inputFifoFileHandle.reset();
}

void HostChannel::sendProgressSectionWithTitle(std::optional<std::string_view> title,
                                               std::uint64_t maxValue) {
  PropertyListDictionary dictionary{{"messageType", "progressSection"}};
  if (title) dictionary["progressTitle"] = std::string(*title);
  if (maxValue != 0) dictionary["progressValue"] = maxValue;
  sendFifoMessage(dictionary);
}

void HostChannel::sendProgressStatusWithValue(std::uint64_t value) {
  sendFifoMessage({{"messageType", "progressStatus"}, {"progressValue", value}});
}

void HostChannel::sendFifoMessage(const PropertyListDictionary& dictionary) {
  if (!outputFifoFileHandle) return;
  const auto body = xmlPropertyList(dictionary);
  if (!body) throw SessionFailure{"Could not serialize fifo message", body.error()};
  const auto lengthLine = header(body->size());
  if (!lengthLine) throw SessionFailure{"Could not generate valid header for fifo message"};
  try {
    // In one piece: a host that reads at the wrong moment does not find half a message.
    writeToOutputFifo(bytesOf(*lengthLine + *body));
  } catch (const PlatformException& exception) {
    throw SessionFailure{"Could not send FIFO message", std::nullopt, exception};
  }
}

void HostChannel::writeToOutputFifo(DataView bytes) {
  if (outputFifoFileHandle->isHalfWritten()) return;
  outputFifoFileHandle->writeData(bytes);
}

void HostChannel::synchronizeOutputFifo() {
  outputFifoFileHandle->synchronize();
}

}  // namespace ztp
