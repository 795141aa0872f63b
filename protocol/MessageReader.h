// The role of a message that is read: one frame is taken out of chunks of any size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "platform/Data.h"
#include "platform/FileHandle.h"
#include "protocol/ZanburyToolProxyMessage.h"

namespace ztp {

/// One message while it is read. Feed it chunks with `consumeDataWithBytes` and go on behind the
/// bytes it took; look at `shouldAbort`, `didFinishReadingHeader` (`type` and `length` are known)
/// and `didFinishReadingBody` (`bodyData` or `bodyFilePath` is complete) after each call.
class MessageReader final : public ZanburyToolProxyMessage {
 public:
  /// See `initForReadingWithTemporaryDirectoryPath`.
  MessageReader(const std::filesystem::path* directory, Type acceptedType);

  /// Takes what belongs to this frame from the front of the chunk and returns how many bytes that
  /// were; never a byte of the next frame. What the refused stage of a broken frame looked at does
  /// not count (see `shouldAbort`). Feeding a finished reader aborts it.
  std::size_t consumeDataWithBytes(DataView bytes);
  /// Refuses the rest of the message: closes the file, state Aborted. What had arrived in memory is
  /// then in `bodyData`.
  void abortReading();
  /// True when `type` and `length` are known.
  [[nodiscard]] bool didFinishReadingHeader() const;
  /// True when the whole body is there.
  [[nodiscard]] bool didFinishReadingBody() const;

  /// The stages of consumeDataWithBytes, with the same argument and result; called by it.
  std::size_t consumeTypeWithBytes(DataView bytes);
  std::size_t consumeLengthWithBytes(DataView bytes);
  std::size_t consumeBodyWithBytes(DataView bytes);

  /// Asked once the header is there whether a body of this type is kept; the bytes of one that is
  /// not are counted and dropped as they arrive, and nothing is made for it. Absent: every body is
  /// kept.
  std::function<bool(Type)> keepsBodyOfType;
  /// Bytes of body taken so far.
  std::uint64_t bodyBytesConsumed = 0;

 private:
  /// Each sets the state it names and does what entering it means.
  void transitionToStateReadingType();
  void transitionToStateReadingLengthWithType(Type newType);
  void transitionToStateReadingBodyWithLength(std::uint64_t newLength);
  void transitionToStateFinishedReading();
  void transitionToStateAborted();

  void prepareBodyStorage();
  void openBodyFile();
  /// Moves the gathered body to `bodyData` and closes the body's file.
  void cleanUp();

  /// The only type accepted; None accepts every type.
  Type requiredType;
  /// Where bodies on disk are created; borrowed, null for nowhere.
  const std::filesystem::path* temporaryDirectoryPath;
  /// The digits gathered so far, at most ten.
  std::string mutableLengthData;
  /// The body being gathered in memory.
  std::optional<Data> mutableBodyData;
  /// The body's file, open for writing.
  std::optional<FileHandle> bodyFileHandle;
};

}  // namespace ztp
