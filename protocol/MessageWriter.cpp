// The synchronous writer: small messages, written whole before the call returns.
#include "protocol/MessageWriter.h"

#include <exception>

#include <nlohmann/json.hpp>

#include "platform/FileHandle.h"
#include "platform/Log.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

// Sends the file to its end, whatever `length` was announced: one that grew makes a frame longer
// than its header says, one that shrank a shorter one and false.
bool sendFile(FileHandle& source, std::uint64_t length, FileHandle& stream) {
  Data buffer(MessageWriter::fileChunkSize);
  std::uint64_t total = 0;
  while (const std::size_t count = source.read(buffer)) {
    stream.writeData(DataView(buffer).first(count));
    total += count;
  }
  if (total >= length) return true;
  log("ERROR: Only wrote {} of {} bytes", total, length);
  return false;
}

}  // namespace

bool ZanburyToolProxyMessage::writeMessageWithType(Type type, const Dictionary& dictionary,
                                                   FileHandle& fileHandle) {
  if (dictionary.empty()) return writeMessageWithType(type, Data{}, fileHandle);
  auto body = jsonFromDictionary(dictionary);
  if (body) return writeMessageWithType(type, *std::move(body), fileHandle);
  logLine(body.error().description);
  return false;
}

bool ZanburyToolProxyMessage::writeMessageWithType(Type type, Data data, FileHandle& fileHandle) {
  MessageWriter message;
  message.type = type;
  message.length = data.size();
  message.bodyData = std::move(data);
  return message.writeToFileHandle(fileHandle);
}

bool ZanburyToolProxyMessage::writeMessageWithType(Type type, const std::filesystem::path& filePath,
                                                   FileHandle& fileHandle) {
  const std::uint64_t size = ZanburyToolProxyUtilities::fileSizeForPath(filePath);
  if (size == 0) return false;
  MessageWriter message;
  message.type = type;
  message.length = size;
  message.bodyFilePath = filePath;
  return message.writeToFileHandle(fileHandle);
}

bool MessageWriter::writeToFileHandle(FileHandle& fileHandle) const {
  try {
    const auto header = headerDataWithType(type, length);
    if (!header) return false;
    if (length == 0) {
      fileHandle.writeData(*header);
      return true;
    }
    if (bodyData) {
      fileHandle.writeData(*header);
      fileHandle.writeData(*bodyData);
      return true;
    }
    if (!bodyFilePath) return true;
    auto source = FileHandle::forReadingAtPath(*bodyFilePath);
    if (!source) return false;
    fileHandle.writeData(*header);
    return sendFile(*source, length, fileHandle);
  } catch (const std::exception& exception) {
    logLine(exception.what());
    return false;
  }
}

}  // namespace ztp
