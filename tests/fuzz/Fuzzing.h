// What the fuzzers share: the entry point that libFuzzer calls, and claims that must hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

/// Ends the run as a crash when a property does not hold.
inline void mustHold(bool claim) {
  if (!claim) std::abort();
}
