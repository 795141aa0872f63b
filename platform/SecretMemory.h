// The memory behind Data and SecretText: wiped when it is let go of, and all of it at once at the
// end of the process, when whoever still holds some does not come to let go of it.
#pragma once

#include <cstddef>

namespace ztp {

/// Overwrites `size` bytes at `memory` in a way that the compiler does not remove.
void wipe(void* memory, std::size_t size) noexcept;

/// Blocks of memory that are known one by one. May be used by any thread.
class SecretMemory {
 public:
  SecretMemory() = delete;

  /// `size` bytes, aligned for every type of ordinary alignment. Raises std::bad_alloc.
  [[nodiscard]] static void* allocate(std::size_t size);
  /// Wipes what `allocate` gave, and gives it back.
  static void release(void* memory) noexcept;
  /// Wipes every block that has not been released; they stay allocated, with zeros in them. Nothing
  /// that is kept in Data or SecretText can be used any more after that.
  static void wipeAll() noexcept;
};

}  // namespace ztp
