// The linker sends every call of write(2) in this program here (--wrap=write).
#include "tests/unit/protocol/ScriptedWrites.h"

#include <cerrno>
#include <utility>

#include <sys/types.h>

namespace {

ztp::test::ScriptedWrites* activeScript = nullptr;

}  // namespace

// The two names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
ssize_t __real_write(int fileDescriptor, const void* bytes, std::size_t size);
ssize_t __wrap_write(int fileDescriptor, const void* bytes, std::size_t size);

ssize_t __wrap_write(int fileDescriptor, const void* bytes, std::size_t size) {
  const int errorNumber = ztp::test::ScriptedWrites::verdictOn(fileDescriptor, size);
  if (errorNumber == ztp::test::ScriptedWrites::goesThrough) {
    return __real_write(fileDescriptor, bytes, size);
  }
  errno = errorNumber;
  return -1;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace ztp::test {

ScriptedWrites::ScriptedWrites(int fileDescriptor, std::deque<int> script)
    : fileDescriptor_(fileDescriptor), script_(std::move(script)) {
  activeScript = this;
}

ScriptedWrites::~ScriptedWrites() {
  activeScript = nullptr;
}

int ScriptedWrites::verdictOn(int fileDescriptor, std::size_t size) {
  ScriptedWrites* const active = activeScript;
  if (active == nullptr || active->fileDescriptor_ != fileDescriptor) return goesThrough;
  active->offered_.push_back(size);
  if (active->script_.empty()) return goesThrough;
  const int verdict = active->script_.front();
  active->script_.pop_front();
  return verdict;
}

}  // namespace ztp::test
