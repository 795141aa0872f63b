// Fuzzes property lists, XML and binary: the tool's result description and a bundle's information.
#include "platform/PropertyList.h"
#include "tests/fuzz/Fuzzing.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ztp;
  const auto list = PropertyList::fromData(DataView(bytes, size));
  if (!list) return 0;
  try {
    static_cast<void>(list->integer("toolExitCode"));
    static_cast<void>(list->string("destFileName"));
  } catch (const PlatformException&) {
    // A value of the wrong type: that is how it is said.
  }
  return 0;
}
