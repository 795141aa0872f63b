// Each block has a header in front of it that links it to the others.
#include "platform/SecretMemory.h"

#include <memory>
#include <mutex>
#include <new>

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

}  // namespace

void* SecretMemory::allocate(std::size_t size) {
  auto* header = std::construct_at(static_cast<Header*>(::operator new(sizeof(Header) + size)));
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
  ::operator delete(header);
}

void SecretMemory::wipeAll() noexcept {
  const std::lock_guard lock(mutex);
  for (Header* header = first; header != nullptr; header = header->next) {
    wipe(header + 1, header->size);
  }
}

}  // namespace ztp
