// What this process does with the memory of the heap. Whoever links this file's source replaces the
// allocating operators.
#pragma once

#include <cstddef>

namespace ztp::test {

/// Allocations since the start of the process.
[[nodiscard]] std::size_t allocationCount() noexcept;

/// Looks at a block of memory at the moment in which it is given back.
class ReleaseWatch {
 public:
  /// One at a time; `size` bytes at `memory`.
  ReleaseWatch(const void* memory, std::size_t size) noexcept;
  ~ReleaseWatch();
  ReleaseWatch(const ReleaseWatch&) = delete;
  ReleaseWatch& operator=(const ReleaseWatch&) = delete;

  [[nodiscard]] bool wasReleased() const noexcept;
  /// Whether it held nothing but zeros then.
  [[nodiscard]] bool wasWiped() const noexcept;
};

}  // namespace ztp::test
