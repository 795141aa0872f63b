// The two FIFOs shared with the host: progress out, cancel and forwarded bytes in.
//
// A FIFO message is the length in bytes of a property list in decimal, a line feed, and the
// property list in its XML form. Nothing is read back in this form: what the host sends are raw
// bytes.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using std::chrono::milliseconds;

constexpr std::string_view converterTool = "ZanburyConverter";
constexpr int openAttempts = 100;
constexpr milliseconds timeBetweenAttempts{100};
constexpr milliseconds pollingInterval{100};
constexpr std::size_t readSize = 65'536;
constexpr std::size_t headerSize = 11;

// Opens `path` unless it is open or there is none; true when nothing is left to do. Read-write, so
// that opening never waits for the other end and its absence is no end of file.
bool tryToOpen(const std::optional<std::string>& path, int& fileDescriptor, std::string_view call) {
  if (!path || fileDescriptor != -1) return true;
  fileDescriptor = ::open(path->c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fileDescriptor == -1) logErrno(call);
  return fileDescriptor != -1;
}

// The attempts have said why; this says once which path it was and who gave it.
void logUnlessOpen(const std::optional<std::string>& path, int fileDescriptor,
                   std::string_view variable) {
  if (!path || fileDescriptor != -1) return;
  log("ERROR: Could not open {}: {}", variable, printable(*path));
}

// The length line, made in eleven bytes with a terminating NUL.
std::optional<std::string> header(std::size_t length) {
  std::array<char, headerSize> buffer{};
  const int formatted = std::snprintf(buffer.data(), buffer.size(), "%zu\n", length);
  if (formatted <= 1) return std::nullopt;
  return std::string(buffer.data(), std::min(static_cast<std::size_t>(formatted), headerSize - 1));
}

}  // namespace

bool ZanburyToolProxy::isConverterTool() const {
  return toolName == converterTool;
}

void ZanburyToolProxy::openFifos() {
  const auto& readPath = isServer ? outputFifoPath : inputFifoPath;
  const auto& writePath = isServer ? inputFifoPath : outputFifoPath;
  int readDescriptor = -1;
  int writeDescriptor = -1;
  for (int attempt = 0; attempt < openAttempts; ++attempt) {
    const bool canRead = tryToOpen(readPath, readDescriptor, "open(readFifoPath)");
    const bool canWrite = tryToOpen(writePath, writeDescriptor, "open(writeFifoPath)");
    if (canRead && canWrite) break;
    BlockingWait::sleepFor(timeBetweenAttempts);
  }
  logUnlessOpen(inputFifoPath, isServer ? writeDescriptor : readDescriptor,
                "EXPORT_INPUT_FIFO_PATH");
  logUnlessOpen(outputFifoPath, isServer ? readDescriptor : writeDescriptor,
                "EXPORT_OUTPUT_FIFO_PATH");
  using Utilities = ZanburyToolProxyUtilities;
  inputFifoFileHandle = Utilities::newFileHandleWithFileDescriptor(readDescriptor);
  outputFifoFileHandle = Utilities::newFileHandleWithFileDescriptor(writeDescriptor);
}

void ZanburyToolProxy::startReadingInputFifoFileHandle() {
  if (!inputFifoFileHandle) return;
  if (isConverterTool()) {
    inputFifoTimerFired();
    inputFifoTimer.emplace(pollingInterval, [this] { perform([this] { inputFifoTimerFired(); }); });
    return;
  }
  inputFifoReader_.emplace(inputFifoFileHandle->fileDescriptor(), readSize, [this](DataView data) {
    perform([this, data] { inputFifoFileHandleDidRead(data); });
  });
  inputFifoReader_->readInBackgroundAndNotify();
}

void ZanburyToolProxy::inputFifoFileHandleDidRead(DataView data) {
  if (consumeInputFifoData(data)) inputFifoReader_->readInBackgroundAndNotify();
}

void ZanburyToolProxy::inputFifoTimerFired() {
  const Data data = inputFifoFileHandle ? inputFifoFileHandle->availableData() : Data{};
  if (data.empty()) {
    abortIfHostIsGone();
  } else {
    consumeInputFifoData(data);
  }
}

void ZanburyToolProxy::abortIfHostIsGone() {
  if (hostPid == 0 || ::kill(static_cast<pid_t>(hostPid), 0) == 0 || errno != ESRCH) return;
  abortWithReason("Host terminated", std::nullopt, nullptr);
}

bool ZanburyToolProxy::consumeInputFifoData(DataView data) {
  if (state == State::Aborted) return false;
  try {
    if (data.empty()) {
      inputFifoReader_.reset();
      inputFifoFileHandle->close();
      inputFifoFileHandle.reset();
      return false;
    }
    if (state == State::ForwardingMessages) {
      forwardData(data);
      return true;
    }
    abortWithReason("User canceled", std::nullopt, nullptr, true);
  } catch (const PlatformException&) {
    // What must end the session has aborted it already.
  }
  return false;
}

void ZanburyToolProxy::sendProgressSectionWithTitle(std::optional<std::string_view> title,
                                                    std::uint64_t maxValue) {
  PropertyListDictionary dictionary{{"messageType", "progressSection"}};
  if (title) dictionary["progressTitle"] = std::string(*title);
  if (maxValue != 0) dictionary["progressValue"] = maxValue;
  sendFifoMessage(dictionary);
}

void ZanburyToolProxy::sendProgressStatusWithValue(std::uint64_t value) {
  sendFifoMessage({{"messageType", "progressStatus"}, {"progressValue", value}});
}

void ZanburyToolProxy::sendFifoMessage(const PropertyListDictionary& dictionary) {
  if (!outputFifoFileHandle) return;
  const auto serialized = xmlPropertyList(dictionary);
  if (const auto* error = std::get_if<Error>(&serialized)) {
    abortWithReason("Could not serialize fifo message", *error, nullptr);
    return;
  }
  const auto& body = std::get<std::string>(serialized);
  const auto lengthLine = header(body.size());
  if (!lengthLine) {
    abortWithReason("Could not generate valid header for fifo message", std::nullopt, nullptr);
    return;
  }
  try {
    // In one piece: a host that reads at the wrong moment does not find half a message.
    writeToOutputFifo(bytesOf(*lengthLine + body));
  } catch (const PlatformException& exception) {
    abortWithReason("Could not send FIFO message", std::nullopt, &exception);
  }
}

void ZanburyToolProxy::writeToOutputFifo(DataView bytes) {
  if (outputFifoFileHandle->isHalfWritten()) return;
  outputFifoFileHandle->writeData(bytes);
}

}  // namespace ztp
