// A page of memory that a preloaded library shares with the test that preloaded it.
//
// The test makes a file of one page and names it in ZTP_FAULT_PAGE. It writes what is wanted and
// reads what has been done, while the program runs and afterwards. Children of the program that
// inherit the environment share the page too.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace ztp::test {

using Cell = std::atomic<std::int64_t>;
static_assert(Cell::is_always_lock_free && sizeof(Cell) == 8);

/// The page as a `Layout` of cells; one of the process's own, all zeros, where no file is named.
template <class Layout>
Layout* sharedPage() {
  const char* path = std::getenv("ZTP_FAULT_PAGE");
  const int file = path != nullptr ? ::open(path, O_RDWR | O_CLOEXEC) : -1;
  const int flags = file == -1 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  void* memory = ::mmap(nullptr, sizeof(Layout), PROT_READ | PROT_WRITE, flags, file, 0);
  if (file != -1) ::close(file);
  if (memory == MAP_FAILED) std::abort();
  return static_cast<Layout*>(memory);
}

}  // namespace ztp::test
