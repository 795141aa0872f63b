// Reads a file and deflates it: its blocks side by side on the machine's cores, the result in
// order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <span>
#include <vector>

#include "archiver/CompressionPolicy.h"
#include "archiver/DeflateBlock.h"
#include "archiver/FileDescriptor.h"
#include "archiver/ThreadPool.h"

namespace ztp::archiver {

/// Blocks for all files of one archive, and the threads that deflate them: the memory of packing is
/// bounded by how many there are.
class BlockPool {
 public:
  /// One that is being read, and one that waits so that no core does.
  static constexpr std::size_t blocksBesideCores = 2;

  BlockPool();

  /// A block that is not in use.
  [[nodiscard]] std::unique_ptr<DeflateBlock> take();
  /// Returns a block to the pool.
  void putBack(std::unique_ptr<DeflateBlock> block);
  /// How many blocks of a file may be under way at once: one for each core, and some more.
  [[nodiscard]] std::size_t blocksAtOnce() const { return cores_ + blocksBesideCores; }
  [[nodiscard]] ThreadPool& threads() { return threads_; }

 private:
  unsigned cores_;
  std::vector<std::unique_ptr<DeflateBlock>> idle_;
  ThreadPool threads_;
};

/// One raw deflate stream (RFC 1951) of exactly `size` bytes of a file, 1 at least.
class ParallelDeflate {
 public:
  /// Takes the file over; `pool` must outlive this.
  ParallelDeflate(FileDescriptor file, std::uint64_t size, BlockPool& pool);

  /// Fills `into` with what comes next and returns its length, 0 at the end. Throws ArchiveError
  /// when the file cannot be read or holds fewer bytes or more than it should.
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> into);

  /// CRC-32 of the file's bytes. Complete once `read` has returned 0.
  [[nodiscard]] std::uint32_t crc() const { return crc_; }

  /// The file, for a look at its attributes.
  [[nodiscard]] const FileDescriptor& file() const { return file_; }

 private:
  using Work = std::future<std::unique_ptr<DeflateBlock>>;

  void startBlocks();
  [[nodiscard]] Work startBlock();
  void readBlock(std::span<std::uint8_t> into);
  void checkEnd();

  FileDescriptor file_;
  std::uint64_t size_;
  std::uint64_t left_;
  std::uint32_t crc_ = 0;
  CompressionPolicy policy_;
  BlockPool& pool_;
  std::deque<Work> underWay_;
  std::unique_ptr<DeflateBlock> current_;
  std::span<const std::uint8_t> unread_;
};

}  // namespace ztp::archiver
