// Blocks are read and checksummed here, in order; each is deflated by a task of its own; the oldest
// is waited for and handed out.
#include "archiver/ParallelDeflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr unsigned minimumCores = 1;
constexpr unsigned maximumCores = 4;  // each costs 3 MiB

static_assert(maximumCores + BlockPool::blocksBesideCores <= CompressionPolicy::maximumInFlight);

}  // namespace

BlockPool::BlockPool()
    : cores_(std::clamp(std::thread::hardware_concurrency(), minimumCores, maximumCores)),
      threads_(cores_) {}

std::unique_ptr<DeflateBlock> BlockPool::take() {
  if (idle_.empty()) return std::make_unique<DeflateBlock>();
  std::unique_ptr<DeflateBlock> block = std::move(idle_.back());
  idle_.pop_back();
  return block;
}

void BlockPool::putBack(std::unique_ptr<DeflateBlock> block) {
  idle_.push_back(std::move(block));
}

ParallelDeflate::ParallelDeflate(FileDescriptor file, std::uint64_t size, BlockPool& pool)
    : file_(std::move(file)), size_(size), left_(size), pool_(pool) {}

std::size_t ParallelDeflate::read(std::span<std::uint8_t> into) {
  while (unread_.empty()) {
    if (current_) pool_.putBack(std::move(current_));
    startBlocks();
    if (underWay_.empty()) return 0;
    current_ = underWay_.front().get();
    underWay_.pop_front();
    unread_ = current_->output();
    policy_.measured(unread_.size());
  }
  const std::size_t count = std::min(into.size(), unread_.size());
  std::memcpy(into.data(), unread_.data(), count);
  unread_ = unread_.subspan(count);
  return count;
}

void ParallelDeflate::startBlocks() {
  while (left_ > 0 && underWay_.size() < pool_.blocksAtOnce()) underWay_.push_back(startBlock());
}

ParallelDeflate::Work ParallelDeflate::startBlock() {
  std::unique_ptr<DeflateBlock> block = pool_.take();
  const std::size_t size = std::min<std::uint64_t>(left_, DeflateBlock::inputSize);
  readBlock(block->input().first(size));
  const Position position = left_ == 0 ? Position::last : Position::inner;
  const Effort effort = policy_.next();
  auto work = [block = std::move(block), size, effort, position]() mutable {
    block->deflate(size, effort, position);
    return std::move(block);
  };
  // A file of one block is not worth a thread.
  if (size == size_) return std::async(std::launch::deferred, std::move(work));
  return pool_.threads().start(std::move(work));
}

void ParallelDeflate::readBlock(std::span<std::uint8_t> into) {
  const std::ptrdiff_t count = readFully(file_.get(), into);
  if (count < 0) throw systemError("cannot read", errno);
  if (static_cast<std::size_t>(count) != into.size()) {
    throw ArchiveError("became shorter while it was read");
  }
  crc_ = libdeflate_crc32(crc_, into.data(), into.size());
  left_ -= into.size();
  if (left_ == 0) checkEnd();
}

void ParallelDeflate::checkEnd() {
  std::array<std::uint8_t, 1> more{};
  const std::ptrdiff_t count = readFully(file_.get(), more);
  if (count < 0) throw systemError("cannot read", errno);
  if (count > 0) throw ArchiveError("became longer while it was read");
}

}  // namespace ztp::archiver
