// What an archive may ask of the machine that unpacks it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztp::archiver {

/// The most components a name may have, packed or unpacked.
inline constexpr std::size_t maximumDepth = 100;

/// Bounds on one archive. An archive beyond any of them is refused before a byte is written.
///
/// They stand beside what deflate itself can do: an entry that claims more than 1,032 times its
/// compressed size, or all entries together more compressed bytes than the archive has, is a lie.
struct ExtractionLimits {
  /// Files, links and directories that are made, those included that only names imply.
  std::uint64_t entries = 1'000'000;
  /// Bytes of the central directory: a bound on the names, which are held in memory.
  std::uint64_t directoryBytes = std::uint64_t{256} << 20U;
  /// Bytes that all entries together expand to. The space that is free is a bound, too.
  std::uint64_t expandedBytes = std::uint64_t{64} << 30U;
};

}  // namespace ztp::archiver
