// One framed message of the server stream: its header, its incremental reader and its writers.
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
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Data.h"
#include "platform/DelayedPerform.h"
#include "platform/FileHandle.h"
#include "platform/ReadinessWatcher.h"
#include "protocol/Dictionary.h"
#include "protocol/ZanburyToolProxyMessageDelegate.h"
#include "protocol/ZanburyToolProxyMessageState.h"
#include "protocol/ZanburyToolProxyMessageType.h"

namespace ztp {

/// One message while it is read or written. It owns its buffers and files and borrows the stream.
///
/// To read: make a reader, feed it chunks with `consumeDataWithBytes` and go on behind the bytes it
/// took; look at `shouldAbort`, `didFinishReadingHeader` (`type` and `length` are known) and
/// `didFinishReadingBody` (`bodyData` or `bodyFilePath` is complete) after each call.
/// To write: one of the class operations.
///
/// Nothing here raises: failures are a log line and false, absent or the state Aborted. Messages
/// live on the main thread.
class ZanburyToolProxyMessage {
 public:
  using Type = ZanburyToolProxyMessageType;
  using State = ZanburyToolProxyMessageState;

  /// A message in the state None with the next `messageId`.
  ZanburyToolProxyMessage() = default;
  ZanburyToolProxyMessage(const ZanburyToolProxyMessage&) = delete;
  ZanburyToolProxyMessage& operator=(const ZanburyToolProxyMessage&) = delete;
  /// Ends an asynchronous write silently: nothing stays registered with the run loop, the delegate
  /// is not told, and the stream, which may be closed by now, is not touched.
  ~ZanburyToolProxyMessage() = default;

  // --- Types and header (MessageTypes.cpp) ---

  /// The type's name, such as "ServerHello"; "None" for None and every value outside the list.
  [[nodiscard]] static std::string_view stringForMessageType(Type type);
  /// The type's character on the wire; '.' for None and every value outside the list.
  [[nodiscard]] static std::uint8_t rawValueForMessageType(Type type);
  /// Finds the type of a character on the wire ('.' is None). False, with `*type` left alone, when
  /// there is none or `type` is null.
  [[nodiscard]] static bool getMessageType(Type* type, std::uint8_t rawValue);
  /// The serial number of the next message of this process; the first is 1.
  static std::int64_t nextMessageId();
  /// The header of a frame. It is made in twelve bytes with a terminating NUL, so a length of ten
  /// digits or more becomes twelve bytes that end in a NUL instead of the line feed: well-formed
  /// bodies have at most 999,999,999 bytes.
  [[nodiscard]] static std::optional<Data> headerDataWithType(Type type, std::uint64_t length);
  /// Where an archive's body goes: "03-OutputArchive" inside the directory for message 3. Absent
  /// for other types and when `temporaryDirectoryPath` is null.
  [[nodiscard]] static std::optional<std::filesystem::path> newPathForReadingType(
      Type type, std::int64_t messageId, const std::filesystem::path* temporaryDirectoryPath);

  /// The body as a dictionary: an empty one when there is no body in memory; a JSON array as it is,
  /// so the caller must look at what it got. Absent, with the reason logged, when the body does not
  /// parse.
  [[nodiscard]] std::optional<Dictionary> bodyDataAsDictionary() const;

  // --- Reading (MessageReader.cpp) ---

  /// A reader in the state ReadingType. Bodies of the two archive types go into files inside
  /// `temporaryDirectoryPath`, into memory when it is null. The path is borrowed: it must outlive
  /// the reader. `requiredType` is the only type accepted; None accepts every type.
  [[nodiscard]] static std::unique_ptr<ZanburyToolProxyMessage>
  initForReadingWithTemporaryDirectoryPath(const std::filesystem::path* temporaryDirectoryPath,
                                           Type requiredType);
  /// Takes what belongs to this frame from the front of the chunk and returns how many bytes that
  /// were; never a byte of the next frame. What the refused stage of a broken frame looked at does
  /// not count (see `shouldAbort`). Feeding a finished reader aborts it.
  std::size_t consumeDataWithBytes(DataView bytes);
  /// Refuses the rest of the message: releases the file, state Aborted.
  void abortReading();
  /// Moves the gathered body to `bodyData` and closes the body's file.
  void cleanUp();
  /// True when `type` and `length` are known.
  [[nodiscard]] bool didFinishReadingHeader() const;
  /// True when the whole body is there.
  [[nodiscard]] bool didFinishReadingBody() const;
  /// True when the message was refused or could not be stored.
  [[nodiscard]] bool shouldAbort() const;

  // --- Writing at once (MessageWriter.cpp) ---

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
  /// Writes this message, its type, length and body being set. A message that announces a body but
  /// has none is dropped: true, and not even its header is written.
  [[nodiscard]] bool writeToFileHandle(FileHandle& fileHandle);

  // --- Writing through the run loop (AsynchronousWriter.cpp) ---

  /// Starts to write a message whose body is the content of a file: the header at once, then at
  /// most one write of at most 256,000 bytes a turn of the loop, without ever blocking it. Null
  /// when the file is empty or cannot be opened. The stream is non-blocking until the end. The
  /// caller keeps the message, the stream and the delegate until the delegate hears of the end,
  /// which may happen before this returns; destroying the message earlier ends the write silently.
  [[nodiscard]] static std::unique_ptr<ZanburyToolProxyMessage> startWritingMessageWithType(
      Type type, const std::filesystem::path& filePath, FileHandle& fileHandle,
      ZanburyToolProxyMessageDelegate& progressDelegate);

  // --- Stages and transitions; called by the operations above ---

  /// The stages of consumeDataWithBytes, with the same argument and result.
  std::size_t consumeTypeWithBytes(DataView bytes);
  std::size_t consumeLengthWithBytes(DataView bytes);
  std::size_t consumeBodyWithBytes(DataView bytes);
  /// One step of an asynchronous write; arranges for the next one.
  void continueWritingAsynchronously();

  /// Each sets the state it names and does what entering it means.
  void transitionToStateReadingType();
  void transitionToStateReadingLengthWithType(Type newType);
  void transitionToStateReadingBodyWithLength(std::uint64_t newLength);
  void transitionToStateFinishedReading();
  void transitionToStateAborted();
  void transitionToStateWritingAsynchronously();
  /// Ends an asynchronous write: state Aborted or FinishedWriting. The delegate may destroy the
  /// message meanwhile.
  void transitionToStateFinishedWritingAndAbort(bool abort);

  // --- Properties ---

  Type type = Type::None;
  /// Reading: the only type accepted; None accepts every type.
  Type requiredType = Type::None;
  /// Asynchronous writing: the header has been written completely.
  bool didWriteHeader = false;
  /// Asynchronous writing: the stream's descriptor, borrowed; -1 when none.
  int writeFileDescriptor = -1;
  /// Bytes of body, as in the header.
  std::uint64_t length = 0;
  /// The body, when it is held in memory.
  std::optional<Data> bodyData;
  /// The body's file: the one read into, or the one to send.
  std::optional<std::filesystem::path> bodyFilePath;
  std::int64_t messageId = nextMessageId();
  State state = State::None;
  /// Reading: where bodies on disk are created; borrowed, null for nowhere.
  const std::filesystem::path* temporaryDirectoryPath = nullptr;
  /// Reading: asked once the header is there whether a body of this type is kept; the bytes of one
  /// that is not are counted and dropped as they arrive, and nothing is made for it. Absent: every
  /// body is kept.
  std::function<bool(Type)> keepsBodyOfType;
  /// Reading: the digits gathered so far, at most ten.
  std::string mutableLengthData;
  /// Reading: the body being gathered in memory.
  std::optional<Data> mutableBodyData;
  /// Reading: the body's file, open for writing.
  std::optional<FileHandle> bodyFileHandle;
  /// Reading: bytes of body taken so far.
  std::uint64_t bodyBytesConsumed = 0;
  /// Asynchronous writing: hears of progress and end; borrowed, null when none.
  ZanburyToolProxyMessageDelegate* delegate = nullptr;
  /// Asynchronous writing: bytes of body written so far.
  std::uint64_t bodyBytesWritten = 0;
  /// Asynchronous writing: the file being sent, open for reading.
  std::optional<FileHandle> sourceFileHandle;
  /// Asynchronous writing: the chunk (header or body) now being written; absent between two.
  std::optional<DataView> sourceBuffer;
  /// Asynchronous writing: bytes of `sourceBuffer` written so far.
  std::uint64_t sourceBufferBytesWritten = 0;

 private:
  /// How a step of an asynchronous write went on.
  enum class Step { progressed, streamFull, failedForNow, finished, failed };

  void prepareBodyStorage();
  void openBodyFile();

  [[nodiscard]] Step performStep();
  void loadSourceBuffer();
  [[nodiscard]] Step writeSourceBuffer();
  void arrangeStepAfter(Step step);

  /// What `sourceBuffer` shows: one buffer for all chunks of the file.
  Data sourceStorage_;
  /// At most one of the two is waiting for the next step.
  std::optional<DelayedPerform> nextStep_;
  std::optional<ReadinessWatcher> untilWritable_;
};

}  // namespace ztp
