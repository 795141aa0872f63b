// An owned file descriptor and the read and write loops that this folder needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace ztp::archiver {

/// Owns one descriptor, or none (-1). Move-only; the destructor closes quietly.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor();

  /// Whether a descriptor is held.
  explicit operator bool() const { return descriptor_ >= 0; }
  /// The descriptor, -1 when none is held.
  [[nodiscard]] int get() const { return descriptor_; }
  /// Closes now and returns 0 or the errno of close(2): some file systems report a full disk here.
  [[nodiscard]] int close();

 private:
  int descriptor_ = -1;
};

/// Reads until `into` is full or the file ends. Returns the number of bytes read, or -1 with errno
/// set.
[[nodiscard]] std::ptrdiff_t readFully(int descriptor, std::span<std::uint8_t> into);

/// Writes all of `bytes`. Returns 0, or the errno of the write that failed.
[[nodiscard]] int writeFully(int descriptor, std::span<const std::uint8_t> bytes);

}  // namespace ztp::archiver
