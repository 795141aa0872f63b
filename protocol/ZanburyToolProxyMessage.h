// One framed message of the server stream: what it has in common whether it is read or written, and
// the operations that begin either.
//
// A frame, the same in both directions:
//
//   frame  = type length %x0A body
//   type   = one of the twelve characters of ZanburyToolProxyMessageType
//   length = 0*10DIGIT        ; bytes of body; no digits at all mean 0
//   body   = *OCTET           ; exactly `length` of them; the next frame follows at once
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/Data.h"
#include "protocol/Dictionary.h"
#include "protocol/ZanburyToolProxyMessageState.h"
#include "protocol/ZanburyToolProxyMessageType.h"

namespace ztp {

class AsynchronousWriter;
class FileHandle;
class MessageReader;
class ZanburyToolProxyMessageDelegate;

/// The head that the three roles of a message share: MessageReader, MessageWriter and
/// AsynchronousWriter. A message owns its buffers and files and borrows the stream.
///
/// Failures are a log line and false, absent or the state Aborted; nothing is raised but by what
/// interrupts a wait and by a delegate. Messages live on the main thread.
class ZanburyToolProxyMessage {
 public:
  using Type = ZanburyToolProxyMessageType;
  using State = ZanburyToolProxyMessageState;

  ZanburyToolProxyMessage(const ZanburyToolProxyMessage&) = delete;
  ZanburyToolProxyMessage& operator=(const ZanburyToolProxyMessage&) = delete;

  // --- Types and header ---

  /// The type's name, such as "ServerHello"; "None" for None and every value outside the list.
  [[nodiscard]] static std::string_view stringForMessageType(Type type);
  /// The type's character on the wire; '.' for None and every value outside the list.
  [[nodiscard]] static std::uint8_t rawValueForMessageType(Type type);
  /// Finds the type of a character on the wire ('.' is None). False, with `*type` left alone, when
  /// there is none or `type` is null.
  [[nodiscard]] static bool getMessageType(Type* type, std::uint8_t rawValue);
  /// The serial number of the next message of this process; the first is 1.
  static std::int64_t nextMessageId();
  /// The header of a frame, made in a buffer of twelve bytes (see truncatedHeader): a length of ten
  /// digits or more becomes twelve bytes that end in a NUL instead of the line feed, and
  /// well-formed bodies have at most 999,999,999 bytes.
  [[nodiscard]] static std::optional<Data> headerDataWithType(Type type, std::uint64_t length);
  /// Where an archive's body goes: "03-OutputArchive" inside the directory for message 3. Absent
  /// for other types and when `temporaryDirectoryPath` is null.
  [[nodiscard]] static std::optional<std::filesystem::path> newPathForReadingType(
      Type type, std::int64_t messageId, const std::filesystem::path* temporaryDirectoryPath);

  // --- Reading (MessageReader.cpp) ---

  /// A reader in the state ReadingType. Bodies of the two archive types go into files inside
  /// `temporaryDirectoryPath`, into memory when it is null. The path is borrowed: it must outlive
  /// the reader. `requiredType` is the only type accepted; None accepts every type.
  [[nodiscard]] static std::unique_ptr<MessageReader> initForReadingWithTemporaryDirectoryPath(
      const std::filesystem::path* temporaryDirectoryPath, Type requiredType);

  // --- Writing at once (MessageWriter.cpp) ---

  /// The most of a file that is held in memory while it is sent, in bytes.
  static constexpr std::size_t fileChunkSize = 256'000;

  /// Writes a message whose body is the dictionary as JSON; an empty one is sent as no body at all.
  /// False when it is not JSON or cannot be written. All of these wait while the stream is full.
  [[nodiscard]] static bool writeMessageWithType(Type type, const Dictionary& dictionary,
                                                 FileHandle& fileHandle);
  /// Writes a message whose body is `data`, none when that is empty.
  [[nodiscard]] static bool writeMessageWithType(Type type, Data data, FileHandle& fileHandle);
  /// Writes a message whose body is the content of a file. False, and nothing is written, when it
  /// is empty or cannot be read; false as well when the file turns out shorter than its size.
  [[nodiscard]] static bool writeMessageWithType(Type type, const std::filesystem::path& filePath,
                                                 FileHandle& fileHandle);

  // --- Writing through the run loop (AsynchronousWriter.cpp) ---

  /// Starts to write a message whose body is the content of a file: the header at once, then at
  /// most one write of at most 256,000 bytes a turn of the loop, without ever blocking it. Null
  /// when the file is empty or cannot be opened. The stream is non-blocking until the end. The
  /// caller keeps the message, the stream and the delegate until the delegate hears of the end,
  /// which may happen before this returns; destroying the message earlier ends the write silently.
  [[nodiscard]] static std::unique_ptr<AsynchronousWriter> startWritingMessageWithType(
      Type type, const std::filesystem::path& filePath, FileHandle& fileHandle,
      ZanburyToolProxyMessageDelegate& progressDelegate);

  // --- The body and the end ---

  /// The body as a dictionary: an empty one when there is no body in memory; a JSON array as it is,
  /// so the caller must look at what it got. Absent, with the reason logged, when the body does not
  /// parse.
  [[nodiscard]] std::optional<Dictionary> bodyDataAsDictionary() const;
  /// Moves the body out of the message, which has none in memory afterwards; absent when it had
  /// none before.
  [[nodiscard]] std::optional<Data> takeBodyData();
  /// True when the message was refused, could not be stored or could not be sent.
  [[nodiscard]] bool shouldAbort() const;

  // --- Properties ---

  Type type = Type::None;
  /// Bytes of body, as in the header.
  std::uint64_t length = 0;
  /// The body, when it is held in memory.
  std::optional<Data> bodyData;
  /// The body's file: the one read into, or the one to send.
  std::optional<std::filesystem::path> bodyFilePath;
  std::int64_t messageId = nextMessageId();
  State state = State::None;

 protected:
  /// In the state None with the next `messageId`.
  ZanburyToolProxyMessage() = default;
  ~ZanburyToolProxyMessage() = default;
};

}  // namespace ztp
