// A descriptor with the operations that the session and the framing need.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "platform/Data.h"

namespace ztp {

/// An open file, pipe or FIFO. Closes its descriptor when it is destroyed, unless it only borrows
/// it; `close` does so at once. Move-only. Methods that can fail raise PlatformException.
class FileHandle {
 public:
  /// Whether the descriptor is closed with the handle.
  enum class Ownership { owns, borrows };

  /// Wraps an open descriptor.
  explicit FileHandle(int fileDescriptor, Ownership ownership = Ownership::owns);
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle();

  /// Opens an existing file at its start; absent when that fails (errno tells why).
  static std::optional<FileHandle> forReadingAtPath(const std::filesystem::path& path);
  /// Opens an existing file at its start, its content kept; absent when that fails.
  static std::optional<FileHandle> forWritingAtPath(const std::filesystem::path& path);
  /// Opens a file to be overwritten: emptied, or created with mode 0600 or less; absent when that
  /// fails (errno tells why).
  static std::optional<FileHandle> forOverwritingAtPath(const std::filesystem::path& path);

  /// -1 once closed.
  [[nodiscard]] int fileDescriptor() const noexcept { return fileDescriptor_; }

  /// Writes all of it. On a pipe or FIFO without room this waits (see BlockingWait), whether or not
  /// the descriptor is blocking.
  void writeData(DataView bytes);
  /// True once an interrupt has ended a wait of `writeData`: what is written now would stand behind
  /// the part of that which is out.
  [[nodiscard]] bool wasInterrupted() const noexcept { return wasInterrupted_; }
  /// True when a part of what the last `writeData` was given is in the pipe and the rest is not.
  [[nodiscard]] bool isHalfWritten() const noexcept { return isHalfWritten_; }

  /// Reads into the bytes from the file, fewer at its end, and returns how many; 0 when nothing is
  /// left.
  std::size_t read(std::span<std::uint8_t> bytes);
  /// The same into a buffer of its own, of at most `maximum` bytes.
  Data readDataOfLength(std::size_t maximum);

  /// What a pipe or FIFO holds right now, at most 64 KiB; empty when there is nothing or at the end
  /// of file. Never waits.
  Data availableData();

  /// Asks the system to bring what was written to its destination (fsync). A pipe or FIFO has no
  /// such thing on every system: that counts as done.
  void synchronize();

  /// Closes the descriptor, borrowed or not. Closing twice does nothing.
  void close();
  /// Closes a file that was written and raises PlatformException when the system says only now that
  /// something was not stored.
  void closeAfterWriting();

 private:
  void writeToFile(DataView bytes);
  void writeToPipe(DataView bytes);
  void letGo() noexcept;

  int fileDescriptor_ = -1;
  Ownership ownership_ = Ownership::owns;
  bool isRegularFile_ = false;
  bool wasInterrupted_ = false;
  bool isHalfWritten_ = false;
};

}  // namespace ztp
