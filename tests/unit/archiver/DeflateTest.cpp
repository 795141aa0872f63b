// Blocks put behind each other are one deflate stream, read back here by zlib, which had no part in
// deflating them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "archiver/ArchiveError.h"
#include "archiver/DeflateBlock.h"
#include "archiver/DeflateJoin.h"
#include "archiver/ParallelDeflate.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using archiver::ArchiveError;
using archiver::BlockPool;
using archiver::DeflateBlock;
using archiver::DeflateJoin;
using archiver::Effort;
using archiver::FileDescriptor;
using archiver::ParallelDeflate;
using archiver::Position;

std::string repeated(std::string_view text, std::size_t size) {
  std::string result;
  while (result.size() < size) result += text;
  result.resize(size);
  return result;
}

std::string randomBytes(std::size_t size) {
  std::mt19937 random(7);
  std::string result(size, '\0');
  std::generate(result.begin(), result.end(), [&] { return static_cast<char>(random()); });
  return result;
}

// Bytes of which some deflate and some do not, so that a stream has blocks of all types.
std::string mixed(std::size_t size) {
  std::string result;
  while (result.size() < size) {
    result += repeated("20240229;CARD PURCHASE;-12.50;", 40'000) + randomBytes(30'000);
  }
  result.resize(size);
  return result;
}

std::string deflated(DeflateBlock& block, std::string_view bytes, Effort effort,
                     Position position) {
  std::copy(bytes.begin(), bytes.end(), block.input().begin());
  block.deflate(bytes.size(), effort, position);
  return {block.output().begin(), block.output().end()};
}

// What zlib makes of a whole raw stream; "(broken)" when it is none, or has bytes behind its end.
std::string inflated(std::string stream, std::size_t expectedSize) {
  std::string result(expectedSize + 1, '\0');
  z_stream zlib{};
  if (inflateInit2(&zlib, -15) != Z_OK) return "(broken)";
  zlib.next_in = reinterpret_cast<Bytef*>(stream.data());
  zlib.avail_in = static_cast<uInt>(stream.size());
  zlib.next_out = reinterpret_cast<Bytef*>(result.data());
  zlib.avail_out = static_cast<uInt>(result.size());
  const int status = inflate(&zlib, Z_FINISH);
  const bool isWhole = status == Z_STREAM_END && zlib.avail_in == 0;
  result.resize(zlib.total_out);
  inflateEnd(&zlib);
  return isWhole ? result : "(broken)";
}

class AnyEffort : public testing::TestWithParam<Effort> {};

TEST_P(AnyEffort, blocksOfAllSizesJoin) {
  DeflateBlock block;
  const std::string source = mixed(300'000);
  for (const std::size_t size : {1U, 2U, 3U, 7U, 100U, 1'000U, 65'535U, 65'536U, 299'999U}) {
    const std::string first = source.substr(0, size);
    const std::string stream = deflated(block, first, GetParam(), Position::inner) +
                               deflated(block, "the end", GetParam(), Position::last);
    EXPECT_EQ(inflated(stream, size + 7), first + "the end") << size;
  }
}

TEST_P(AnyEffort, bytesThatDoNotDeflateHaveRoom) {
  DeflateBlock block;
  const std::string bytes = randomBytes(DeflateBlock::inputSize);
  const std::string stream = deflated(block, bytes, GetParam(), Position::inner) +
                             deflated(block, bytes, GetParam(), Position::last);
  EXPECT_TRUE(inflated(stream, 2 * bytes.size()) == bytes + bytes);
  EXPECT_LT(stream.size(), 2 * bytes.size() * 1001 / 1000);
}

INSTANTIATE_TEST_SUITE_P(Deflate, AnyEffort, testing::Values(Effort::quick, Effort::thorough));

TEST(Deflate, joinsWhateverTheBitIsThatAStreamEndsAt) {
  DeflateBlock block;
  std::string source;
  for (int i = 0; i < 200; ++i) {
    source += static_cast<char>('a' + i * i % 26);
    const std::string stream = deflated(block, source, Effort::thorough, Position::inner) +
                               deflated(block, "z", Effort::quick, Position::last);
    EXPECT_EQ(inflated(stream, source.size() + 1), source + "z");
  }
}

TEST(Deflate, joinRefusesWhatIsNoStreamOfThatSize) {
  DeflateBlock block;
  const std::string stream = deflated(block, "some text", Effort::thorough, Position::last);
  std::vector<std::uint8_t> bytes(stream.begin(), stream.end());
  bytes.resize(stream.size() + DeflateJoin::growth);
  DeflateJoin join;
  EXPECT_THROW(static_cast<void>(join.open(bytes, stream.size(), 8)), ArchiveError);
  EXPECT_THROW(static_cast<void>(join.open(bytes, stream.size() - 1, 9)), ArchiveError);
  EXPECT_NO_THROW(static_cast<void>(join.open(bytes, stream.size(), 9)));
}

class ParallelDeflateTest : public testing::Test {
 protected:
  ParallelDeflate open(std::string_view content, std::uint64_t size) {
    directory_.write("file", content);
    return {FileDescriptor(::open((directory_.path() / "file").c_str(), O_RDONLY | O_CLOEXEC)),
            size, pool_};
  }

  static std::string readAll(ParallelDeflate& deflate, std::size_t step) {
    std::string stream;
    std::vector<std::uint8_t> part(step);
    for (std::size_t n = deflate.read(part); n > 0; n = deflate.read(part)) {
      stream.append(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(n));
    }
    return stream;
  }

  ScratchDirectory directory_;
  BlockPool pool_;
};

TEST_F(ParallelDeflateTest, givesOneStreamForAFileOfManyBlocks) {
  constexpr std::size_t blockSize = DeflateBlock::inputSize;
  const std::string source = mixed(7 * blockSize + 1);
  for (const std::size_t size : {std::size_t{1}, blockSize - 1, blockSize, blockSize + 1,
                                 2 * blockSize, 6 * blockSize, 7 * blockSize + 1}) {
    const std::string content = source.substr(0, size);
    ParallelDeflate deflate = open(content, size);
    const std::string stream = readAll(deflate, 8192);
    EXPECT_TRUE(inflated(stream, size) == content) << size;
    EXPECT_EQ(deflate.crc(),
              crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(size)));
  }
}

TEST_F(ParallelDeflateTest, givesTheSameStreamHoweverItIsRead) {
  const std::string content = mixed(DeflateBlock::inputSize * 2);
  ParallelDeflate first = open(content, content.size());
  const std::string stream = readAll(first, 1U << 20U);
  ParallelDeflate second = open(content, content.size());
  EXPECT_TRUE(readAll(second, 1000) == stream);
}

TEST_F(ParallelDeflateTest, failsWhenTheFileIsShorterOrLonger) {
  ParallelDeflate shorter = open("12345", 6);
  EXPECT_THROW(readAll(shorter, 100), ArchiveError);
  ParallelDeflate longer = open("12345", 4);
  EXPECT_THROW(readAll(longer, 100), ArchiveError);
}

}  // namespace
}  // namespace ztp::test
