// Fuzzes property lists, XML and binary: the tool's result description and a bundle's information.
// Whatever the bytes are, what is allocated for them stays in proportion to their number.
#include <sanitizer/allocator_interface.h>

#include "platform/PropertyList.h"
#include "tests/fuzz/Fuzzing.h"

namespace {

// All that was ever asked for, released or not: who works long with little memory is found, too.
std::size_t allocated = 0;

void countAllocation(const volatile void* /*memory*/, std::size_t size) {
  allocated += size;
}
void ignoreRelease(const volatile void* /*memory*/) {}

// What a list may expand to whatever its size: 10,000 objects and 1 MiB of content.
constexpr std::size_t freely = 6'000'000;
constexpr std::size_t perByte = 200;

void read(ztp::DataView bytes) {
  using namespace ztp;
  const auto list = PropertyList::fromData(bytes);
  if (!list) return;
  try {
    static_cast<void>(list->integer("toolExitCode"));
    static_cast<void>(list->string("destFileName"));
  } catch (const PlatformException&) {
    // A value of the wrong type: that is how it is said.
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const bool counting =
      __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreRelease) != 0;
  mustHold(counting);
  allocated = 0;
  read(ztp::DataView(bytes, size));
  mustHold(allocated <= freely + perByte * size);
  return 0;
}
