// Each block has a header in front of it that links it to the others.
#include "platform/SecretMemory.h"

#include <mutex>
#include <new>

#include "platform/System.h"

namespace ztp {
namespace {

struct alignas(std::max_align_t) Header {
  Header* previous = nullptr;
  Header* next = nullptr;
  std::size_t size = 0;
};

// Usable before the first static object is made and after the last one is gone.
constinit std::mutex mutex;
constinit Header* first = nullptr;

// Beyond that, pages are handed back instead of filled: a body whose room is mostly empty would
// otherwise take all the memory that it announced at the moment it goes.
constexpr std::size_t filledAtMost = 1U << 20U;

void* takeMemory(std::size_t size) {
  if (size != SecretMemory::hugePageSize) return ::operator new(size);
  if (void* const page = system::mapHugePage(size)) return page;
  throw std::bad_alloc();
}

void giveBack(void* memory, std::size_t size) noexcept {
  if (size == SecretMemory::hugePageSize) {
    system::unmapHugePage(memory, size);
  } else {
    ::operator delete(memory);
  }
}

}  // namespace

void* SecretMemory::allocate(std::size_t size) {
  static_assert(sizeof(Header) == headerSize);
  auto* header = ::new (takeMemory(headerSize + size)) Header;
  header->size = size;
  const std::lock_guard lock(mutex);
  header->next = first;
  if (first != nullptr) first->previous = header;
  first = header;
  return header + 1;
}

void SecretMemory::release(void* memory) noexcept {
  auto* header = static_cast<Header*>(memory) - 1;
  {
    const std::lock_guard lock(mutex);
    (header->previous != nullptr ? header->previous->next : first) = header->next;
    if (header->next != nullptr) header->next->previous = header->previous;
  }
  wipe(memory, header->size);
  giveBack(header, headerSize + header->size);
}

void SecretMemory::wipeAll() noexcept {
  const std::lock_guard lock(mutex);
  for (Header* header = first; header != nullptr; header = header->next) {
    void* const memory = header + 1;
    if (header->size > filledAtMost) {
      system::discard(memory, header->size);
    } else {
      wipe(memory, header->size);
    }
  }
}

}  // namespace ztp
