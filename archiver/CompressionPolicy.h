// How much time each block of a file is worth.
#pragma once

#include <array>
#include <cstddef>

#include "archiver/DeflateBlock.h"

namespace ztp::archiver {

/// Tries both efforts on two neighbours now and then, and stays with the quick one where the other
/// gains little. It depends on the file alone: the same bytes are packed the same way everywhere.
class CompressionPolicy {
 public:
  /// How many blocks may have been begun and not been measured yet.
  static constexpr std::size_t maximumInFlight = 7;

  /// For the next block of the file.
  [[nodiscard]] Effort next();
  /// What the blocks came to, in their order: bytes of output.
  void measured(std::size_t outputSize);

 private:
  std::size_t begun_ = 0;
  std::size_t measured_ = 0;
  std::array<std::size_t, 2> trial_{};  // of a thorough block and of the quick one behind it
  Effort choice_ = Effort::thorough;    // until the first trial is over: a small file takes no time
};

}  // namespace ztp::archiver
