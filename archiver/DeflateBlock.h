// One block of a file: its bytes, and what they deflate to. Blocks know nothing of each other, so
// that they can be deflated side by side; put behind each other they are one deflate stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace ztp::archiver {

/// Whether more blocks follow in the stream.
enum class Position { inner, last };

/// How much time a block may take.
///
/// On text ISA-L needs a fourth to a sixth of libdeflate's time, and its output is a sixteenth to a
/// third larger: see CompressionPolicy.
enum class Effort { quick, thorough };

/// Buffers and encoders for one block, to be used again for the next.
class DeflateBlock {
 public:
  /// Bytes of a file in one block.
  static constexpr std::size_t inputSize = std::size_t{1} << 20U;

  DeflateBlock();
  DeflateBlock(const DeflateBlock&) = delete;
  DeflateBlock& operator=(const DeflateBlock&) = delete;
  ~DeflateBlock();

  /// Where the block's bytes go before `deflate`: inputSize bytes.
  [[nodiscard]] std::span<std::uint8_t> input();

  /// Deflates the first `size` bytes of the input, 1 at least. Throws ArchiveError or bad_alloc.
  void deflate(std::size_t size, Effort effort, Position position);

  /// The deflated bytes. Valid until the next `deflate`.
  [[nodiscard]] std::span<const std::uint8_t> output() const;

 private:
  struct Quick;
  struct Thorough;

  std::unique_ptr<std::uint8_t[]> input_;
  std::unique_ptr<std::uint8_t[]> output_;
  std::size_t outputSize_ = 0;
  std::unique_ptr<Quick> quick_;
  std::unique_ptr<Thorough> thorough_;
};

}  // namespace ztp::archiver
