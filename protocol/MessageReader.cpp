// The incremental reader: takes one frame out of chunks of any size.
//
//   ReadingType --type--> ReadingLength --line feed--> ReadingBody --last byte--> FinishedReading
//
// and from each of them to Aborted. Aborted and FinishedReading are final.
#include "protocol/MessageReader.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <exception>

#include "platform/FileManager.h"
#include "platform/Log.h"

namespace ztp {
namespace {

constexpr std::size_t maximumLengthDigits = 10;

// The largest limit that any message held in memory has. A length beyond it is only a claim.
constexpr std::uint64_t reservedAtMost = 10'000'000;

// A body beyond that grows to this many times what has arrived, so that it is hardly ever copied:
// room that is not filled costs addresses and no memory until it is released, and wiped. No writer
// announces more than a gigabyte, so what does grow beyond that only doubles.
constexpr std::uint64_t growthFactor = 16;
constexpr std::uint64_t doublesBeyond = 1'073'741'824;

// Only the owner looks into the working directory; the body needs no wider permissions.
constexpr unsigned bodyFileMode = 0600;

// At most ten digits, so the number is neither negative nor too large; no digits at all are 0.
std::uint64_t numberFromDigits(std::string_view digits) {
  std::uint64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

std::uint64_t roomFor(std::uint64_t arrived) {
  return std::min(growthFactor * arrived, std::max(2 * arrived, doublesBeyond));
}

// Appends to a body that will have `finalSize` bytes, without filling the new bytes first.
void append(Data& body, DataView bytes, std::uint64_t finalSize) {
  const std::size_t oldSize = body.size();
  const std::size_t newSize = oldSize + bytes.size();
  if (newSize > body.capacity()) {
    body.reserve(std::clamp<std::uint64_t>(roomFor(oldSize), newSize, finalSize));
  }
  body.resize(newSize);
  std::memcpy(body.data() + oldSize, bytes.data(), bytes.size());
}

}  // namespace

std::unique_ptr<MessageReader> ZanburyToolProxyMessage::initForReadingWithTemporaryDirectoryPath(
    const std::filesystem::path* temporaryDirectoryPath, Type requiredType) {
  return std::make_unique<MessageReader>(temporaryDirectoryPath, requiredType);
}

MessageReader::MessageReader(const std::filesystem::path* directory, Type acceptedType)
    : requiredType(acceptedType), temporaryDirectoryPath(directory) {
  transitionToStateReadingType();
}

std::size_t MessageReader::consumeDataWithBytes(DataView bytes) {
  if (bytes.empty()) return 0;
  if (state == State::None || state == State::FinishedReading) {
    logLine("ERROR: -consumeData: called while in the wrong state");
    transitionToStateAborted();
    return 0;
  }
  std::size_t taken = 0;
  if (state == State::ReadingType) taken = consumeTypeWithBytes(bytes);
  if (state == State::ReadingLength) taken += consumeLengthWithBytes(bytes.subspan(taken));
  // Also with nothing left: that is how a message without a body ends.
  if (state == State::ReadingBody) taken += consumeBodyWithBytes(bytes.subspan(taken));
  return taken;
}

std::size_t MessageReader::consumeTypeWithBytes(DataView bytes) {
  Type announced = Type::None;
  const bool isKnown = !bytes.empty() && getMessageType(&announced, bytes.front());
  const bool isAccepted = requiredType == Type::None || announced == requiredType;
  if (!isKnown || !isAccepted) {
    transitionToStateAborted();
    return 0;
  }
  transitionToStateReadingLengthWithType(announced);
  return 1;
}

std::size_t MessageReader::consumeLengthWithBytes(DataView bytes) {
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    const std::uint8_t byte = bytes[index];
    if (byte == '\n') {
      transitionToStateReadingBodyWithLength(numberFromDigits(mutableLengthData));
      return index + 1;
    }
    const bool isDigit = byte >= '0' && byte <= '9';
    if (!isDigit || mutableLengthData.size() == maximumLengthDigits) {
      transitionToStateAborted();
      return 0;
    }
    mutableLengthData.push_back(static_cast<char>(byte));
  }
  return bytes.size();
}

std::size_t MessageReader::consumeBodyWithBytes(DataView bytes) {
  try {
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(length - bodyBytesConsumed, bytes.size()));
    if (count != 0) {
      const DataView part = bytes.first(count);
      if (mutableBodyData) append(*mutableBodyData, part, length);
      if (bodyFileHandle) bodyFileHandle->writeData(part);
      bodyBytesConsumed += count;
    }
    if (bodyBytesConsumed == length) transitionToStateFinishedReading();
    return count;
  } catch (const std::exception& exception) {
    logLine(exception.what());
    transitionToStateAborted();
    return 0;
  }
}

void MessageReader::abortReading() {
  cleanUp();
  transitionToStateAborted();
}

void MessageReader::cleanUp() {
  if (mutableBodyData) bodyData = std::move(mutableBodyData);
  mutableBodyData.reset();
  if (bodyFileHandle) bodyFileHandle->close();
  bodyFileHandle.reset();
}

bool MessageReader::didFinishReadingHeader() const {
  // Whatever state may ever be added behind the known ones counts as one with a header.
  return state == State::ReadingBody || state == State::FinishedReading ||
         state > State::FinishedWriting;
}

bool MessageReader::didFinishReadingBody() const {
  return state == State::FinishedReading;
}

void MessageReader::transitionToStateReadingType() {
  state = State::ReadingType;
}

void MessageReader::transitionToStateReadingLengthWithType(Type newType) {
  type = newType;
  mutableLengthData.clear();
  state = State::ReadingLength;
}

void MessageReader::transitionToStateReadingBodyWithLength(std::uint64_t newLength) {
  mutableLengthData.clear();
  length = newLength;
  const bool isKept = !keepsBodyOfType || keepsBodyOfType(type);
  if (length != 0 && isKept) prepareBodyStorage();
  if (state != State::Aborted) state = State::ReadingBody;
}

void MessageReader::prepareBodyStorage() {
  try {
    bodyFilePath = newPathForReadingType(type, messageId, temporaryDirectoryPath);
    if (bodyFilePath) {
      openBodyFile();
    } else {
      mutableBodyData.emplace().reserve(std::min(length, reservedAtMost));
    }
  } catch (const std::exception& exception) {
    logLine(exception.what());
    transitionToStateAborted();
  }
}

void MessageReader::openBodyFile() {
  const auto failure = FileManager::createEmptyFile(*bodyFilePath, bodyFileMode);
  if (!failure) bodyFileHandle = FileHandle::forWritingAtPath(*bodyFilePath);
  if (bodyFileHandle) return;
  logLine("ERROR: Could not create file handle");
  transitionToStateAborted();
}

void MessageReader::transitionToStateFinishedReading() {
  // The last chance to hear that the body was not stored.
  if (bodyFileHandle) bodyFileHandle->closeAfterWriting();
  cleanUp();
  state = State::FinishedReading;
}

void MessageReader::transitionToStateAborted() {
  state = State::Aborted;
}

}  // namespace ztp
