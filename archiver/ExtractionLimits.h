// What an archive may ask of the machine that unpacks it.
#pragma once

#include <cstdint>

namespace ztp::archiver {

/// Bounds on one archive. An archive beyond any of them is refused before a byte is written.
///
/// They stand beside what deflate itself can do: an entry that claims more than 1,032 times its
/// compressed size, or all entries together more compressed bytes than the archive has, is a lie.
struct ExtractionLimits {
  /// Entries of all kinds.
  std::uint64_t entries = 10'000;
  /// Bytes of the central directory, which is held in memory.
  std::uint64_t directoryBytes = std::uint64_t{4} << 20U;
  /// Bytes that all entries together expand to. The space that is free is a bound, too.
  std::uint64_t expandedBytes = std::uint64_t{64} << 30U;
};

}  // namespace ztp::archiver
