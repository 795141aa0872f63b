// The allocating operators of the whole program, watched.
#include "tests/support/Allocations.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace ztp::test {
namespace {

struct Watched {
  const void* memory = nullptr;
  std::size_t size = 0;
  bool wasReleased = false;
  bool wasWiped = false;
};

std::atomic<std::size_t> allocations = 0;
Watched watched;

void look() noexcept {
  const auto* const bytes = static_cast<const unsigned char*>(watched.memory);
  watched.wasReleased = true;
  watched.wasWiped =
      std::all_of(bytes, bytes + watched.size, [](unsigned char byte) { return byte == 0; });
  watched.memory = nullptr;
}

void release(void* memory) noexcept {
  if (memory != nullptr && memory == watched.memory) look();
  std::free(memory);
}

}  // namespace

std::size_t allocationCount() noexcept {
  return allocations;
}

ReleaseWatch::ReleaseWatch(const void* memory, std::size_t size) noexcept {
  watched = {memory, size, false, false};
}

ReleaseWatch::~ReleaseWatch() {
  watched = {};
}

bool ReleaseWatch::wasReleased() const noexcept {
  return watched.wasReleased;
}

bool ReleaseWatch::wasWiped() const noexcept {
  return watched.wasWiped;
}

}  // namespace ztp::test

void* operator new(std::size_t size) {
  ++ztp::test::allocations;
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  ztp::test::release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  ztp::test::release(memory);
}
