// Overwriting of what must not stay in memory.
#pragma once

#include <cstddef>

namespace ztp {

/// Overwrites `size` bytes at `memory` with zeros, in a way that the compiler does not remove.
void wipe(void* memory, std::size_t size) noexcept;

}  // namespace ztp
