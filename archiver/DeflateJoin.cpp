// Walks over the blocks of a deflate stream with zlib's Z_BLOCK, which stops at each of their ends
// and tells how many bits of the last byte belong to the next one.
#include "archiver/DeflateJoin.h"

#include <array>
#include <climits>
#include <cstring>
#include <new>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr uInt discardedSize = uInt{256} << 10U;
constexpr int rawDeflate = -15;

// What zlib says in `data_type` after Z_BLOCK.
constexpr int unusedBits = 7;
constexpr int afterLastBlock = 64;
constexpr int atBlockEnd = 128;

// The header of an empty stored block is three zero bits; its lengths fill whole bytes after it.
constexpr std::size_t storedHeaderBits = 3;
constexpr std::array<std::uint8_t, 4> storedLengths = {0x00, 0x00, 0xFF, 0xFF};

}  // namespace

DeflateJoin::DeflateJoin()
    : discarded_(std::make_unique_for_overwrite<std::uint8_t[]>(discardedSize)) {
  if (inflateInit2(&walker_, rawDeflate) != Z_OK) throw std::bad_alloc();
}

DeflateJoin::~DeflateJoin() {
  inflateEnd(&walker_);
}

DeflateJoin::LastBlock DeflateJoin::findLastBlock(std::span<std::uint8_t> stream,
                                                  std::size_t inflatedSize) {
  inflateReset(&walker_);
  walker_.next_in = stream.data();
  walker_.avail_in = static_cast<uInt>(stream.size());
  LastBlock last;
  for (;;) {
    walker_.next_out = discarded_.get();
    walker_.avail_out = discardedSize;
    if (inflate(&walker_, Z_BLOCK) != Z_OK) throw ArchiveError("a deflated block is broken");
    if ((walker_.data_type & atBlockEnd) == 0) continue;
    const auto unused = static_cast<std::size_t>(walker_.data_type & unusedBits);
    last.endBit = walker_.total_in * CHAR_BIT - unused;
    if ((walker_.data_type & afterLastBlock) != 0) break;
    last.firstBit = last.endBit;
  }
  if (walker_.total_out != inflatedSize) throw ArchiveError("a deflated block has lost bytes");
  return last;
}

std::size_t DeflateJoin::open(std::span<std::uint8_t> buffer, std::size_t size,
                              std::size_t inflatedSize) {
  const LastBlock last = findLastBlock(buffer.first(size), inflatedSize);
  std::uint8_t& header = buffer[last.firstBit / CHAR_BIT];
  header = static_cast<std::uint8_t>(header & ~(1U << (last.firstBit % CHAR_BIT)));
  // The bits that pad the last byte are zero: they are the stored block's header, or begin it.
  std::size_t end = (last.endBit + storedHeaderBits + CHAR_BIT - 1) / CHAR_BIT;
  if (end > size) buffer[size] = 0;
  std::memcpy(buffer.data() + end, storedLengths.data(), storedLengths.size());
  return end + storedLengths.size();
}

}  // namespace ztp::archiver
