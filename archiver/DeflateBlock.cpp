// The two encoders of a block.
#include "archiver/DeflateBlock.h"

#include <isa-l.h>
#include <libdeflate.h>

#include <array>
#include <new>

#include "archiver/ArchiveError.h"
#include "archiver/DeflateJoin.h"

namespace ztp::archiver {

namespace {

// Room for bytes that do not deflate at all: both encoders then store them, 5 bytes of header for
// every 5,000 bytes at the worst, and a block is closed with 5 more.
constexpr std::size_t outputSize =
    DeflateBlock::inputSize + DeflateBlock::inputSize / 512 + 64 + DeflateJoin::growth;
constexpr int quickLevel = 3;
constexpr int thoroughLevel = 6;

struct CompressorFree {
  void operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
  }
};

}  // namespace

// ISA-L, which can leave a stream open by itself.
struct DeflateBlock::Quick {
  isal_zstream stream{};
  std::array<std::uint8_t, ISAL_DEF_LVL3_DEFAULT> tables{};

  std::size_t deflate(std::span<std::uint8_t> from, std::span<std::uint8_t> to, Position position) {
    isal_deflate_init(&stream);
    stream.level = quickLevel;
    stream.level_buf = tables.data();
    stream.level_buf_size = static_cast<std::uint32_t>(tables.size());
    stream.end_of_stream = position == Position::last ? 1 : 0;
    stream.flush = position == Position::last ? NO_FLUSH : SYNC_FLUSH;
    stream.next_in = from.data();
    stream.avail_in = static_cast<std::uint32_t>(from.size());
    stream.next_out = to.data();
    stream.avail_out = static_cast<std::uint32_t>(to.size());
    if (isal_deflate(&stream) != COMP_OK || stream.avail_in != 0 || stream.avail_out == 0) {
      throw ArchiveError("a block could not be deflated");
    }
    return to.size() - stream.avail_out;
  }
};

// libdeflate, whose streams are always finished and are opened again.
struct DeflateBlock::Thorough {
  std::unique_ptr<libdeflate_compressor, CompressorFree> compressor{
      libdeflate_alloc_compressor(thoroughLevel)};
  DeflateJoin join;

  std::size_t deflate(std::span<std::uint8_t> from, std::span<std::uint8_t> to, Position position) {
    if (!compressor) throw std::bad_alloc();
    const std::size_t size = libdeflate_deflate_compress(
        compressor.get(), from.data(), from.size(), to.data(), to.size() - DeflateJoin::growth);
    if (size == 0) throw ArchiveError("a block could not be deflated");
    return position == Position::last ? size : join.open(to, size, from.size());
  }
};

DeflateBlock::DeflateBlock()
    : input_(std::make_unique_for_overwrite<std::uint8_t[]>(inputSize)),
      output_(std::make_unique_for_overwrite<std::uint8_t[]>(outputSize)) {}

DeflateBlock::~DeflateBlock() = default;

std::span<std::uint8_t> DeflateBlock::input() {
  return {input_.get(), inputSize};
}

void DeflateBlock::deflate(std::size_t size, Effort effort, Position position) {
  const std::span<std::uint8_t> from = input().first(size);
  const std::span<std::uint8_t> to(output_.get(), outputSize);
  if (effort == Effort::quick) {
    if (!quick_) quick_ = std::make_unique<Quick>();
    outputSize_ = quick_->deflate(from, to, position);
  } else {
    if (!thorough_) thorough_ = std::make_unique<Thorough>();
    outputSize_ = thorough_->deflate(from, to, position);
  }
}

std::span<const std::uint8_t> DeflateBlock::output() const {
  return {output_.get(), outputSize_};
}

}  // namespace ztp::archiver
