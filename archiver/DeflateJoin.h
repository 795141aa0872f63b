// Makes a finished deflate stream one that another can follow, so that blocks which were deflated
// side by side become one stream. RFC 1951; zlib is asked where the blocks begin and end.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace ztp::archiver {

/// Finds the last block of a stream, takes its final mark away and closes it at a byte boundary.
class DeflateJoin {
 public:
  /// The most bytes that `open` adds: what is left of a header, and an empty stored block.
  static constexpr std::size_t growth = 5;

  DeflateJoin();
  DeflateJoin(const DeflateJoin&) = delete;
  DeflateJoin& operator=(const DeflateJoin&) = delete;
  ~DeflateJoin();

  /// `buffer` begins with a whole stream of `size` bytes that inflates to `inflatedSize` bytes and
  /// has `growth` bytes to spare. Returns its size after the change. Throws ArchiveError when the
  /// bytes are not such a stream.
  [[nodiscard]] std::size_t open(std::span<std::uint8_t> buffer, std::size_t size,
                                 std::size_t inflatedSize);

 private:
  /// Where a stream's last block begins and ends, in bits.
  struct LastBlock {
    std::size_t firstBit = 0;
    std::size_t endBit = 0;
  };
  [[nodiscard]] LastBlock findLastBlock(std::span<std::uint8_t> stream, std::size_t inflatedSize);

  z_stream walker_{};
  std::unique_ptr<std::uint8_t[]> discarded_;
};

}  // namespace ztp::archiver
