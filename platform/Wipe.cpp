// One body for every system: what they offer for this has many names.
#include "platform/Wipe.h"

#include <cstring>

namespace ztp {

void wipe(void* memory, std::size_t size) noexcept {
  if (size == 0) return;
  std::memset(memory, 0, size);
  // For all the compiler knows, this reads what is there now.
  asm volatile("" : : "r"(memory) : "memory");
}

}  // namespace ztp
