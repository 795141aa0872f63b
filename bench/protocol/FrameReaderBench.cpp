// How fast frames are read: one large body in chunks beside memcpy of the same bytes into fresh
// memory, many small frames, and the same frames byte by byte.
//
// Each of the two large runs ends with its memory given back, wiped in the reader's case.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "protocol/MessageReader.h"

namespace {

using ztp::Data;
using ztp::DataView;
using Message = ztp::ZanburyToolProxyMessage;
using Type = ztp::ZanburyToolProxyMessageType;

constexpr std::size_t chunkSize = 65'536;
constexpr std::size_t largeBodySize = std::size_t{1} << 30;
constexpr std::size_t smallBodySize = 100;
constexpr std::size_t smallFrameCount = 1'000'000;

void feedLargeBody(benchmark::State& state, Type type, const std::filesystem::path* directory) {
  const Data chunk(chunkSize);
  const std::string header = static_cast<char>(Message::rawValueForMessageType(type)) +
                             std::to_string(largeBodySize) + "\n";
  for ([[maybe_unused]] auto iteration : state) {
    auto reader = Message::initForReadingWithTemporaryDirectoryPath(directory, Type::None);
    reader->consumeDataWithBytes(ztp::bytesOf(header));
    while (!reader->didFinishReadingBody()) reader->consumeDataWithBytes(chunk);
    benchmark::DoNotOptimize(reader->bodyData);
    if (reader->bodyFilePath) std::filesystem::remove(*reader->bodyFilePath);
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t{largeBodySize});
}

void memcpyOfLargeBody(benchmark::State& state) {
  const Data chunk(chunkSize);
  for ([[maybe_unused]] auto iteration : state) {
    const std::unique_ptr<std::uint8_t, decltype(&std::free)> body(
        static_cast<std::uint8_t*>(std::malloc(largeBodySize)), &std::free);
    for (std::size_t offset = 0; offset < largeBodySize; offset += chunkSize) {
      std::memcpy(body.get() + offset, chunk.data(), chunkSize);
      benchmark::ClobberMemory();
    }
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t{largeBodySize});
}

void largeBodyIntoMemory(benchmark::State& state) {
  feedLargeBody(state, Type::ServerDidStopForwarding, nullptr);
}

void largeBodyIntoFile(benchmark::State& state) {
  std::string name = "/dev/shm/frame_reader_bench.XXXXXX";
  const std::filesystem::path directory = ::mkdtemp(name.data());
  feedLargeBody(state, Type::OutputArchive, &directory);
  std::filesystem::remove_all(directory);
}

std::string smallFrames() {
  const std::string frame = "f100\n" + std::string(smallBodySize, 'x');
  std::string stream;
  stream.reserve(frame.size() * smallFrameCount);
  for (std::size_t index = 0; index < smallFrameCount; ++index) stream += frame;
  return stream;
}

// Feeds the stream as the session does: a new reader for every frame, pieces of at most
// `pieceSize`.
std::size_t readFrames(DataView stream, std::size_t pieceSize) {
  std::size_t frames = 0;
  std::unique_ptr<ztp::MessageReader> reader;
  const std::filesystem::path directory = "/tmp/ZanburyToolProxy.XXXXXX";
  while (!stream.empty()) {
    DataView piece = stream.first(std::min(pieceSize, stream.size()));
    stream = stream.subspan(piece.size());
    while (!piece.empty()) {
      if (!reader) {
        reader = Message::initForReadingWithTemporaryDirectoryPath(&directory, Type::None);
      }
      piece = piece.subspan(reader->consumeDataWithBytes(piece));
      if (!reader->didFinishReadingBody()) continue;
      benchmark::DoNotOptimize(reader->bodyData);
      reader.reset();
      ++frames;
    }
  }
  return frames;
}

void smallFramesInPieces(benchmark::State& state) {
  const std::string stream = smallFrames();
  std::size_t frames = 0;
  for ([[maybe_unused]] auto iteration : state) {
    frames += readFrames(ztp::bytesOf(stream), static_cast<std::size_t>(state.range(0)));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(frames));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream.size()));
}

// The least that could be done: find each frame and copy its body to fresh memory.
void idealLoopOverSmallFrames(benchmark::State& state) {
  const std::string stream = smallFrames();
  for ([[maybe_unused]] auto iteration : state) {
    for (const char* frame = stream.data(); frame < stream.data() + stream.size();) {
      const std::unique_ptr<std::uint8_t, decltype(&std::free)> body(
          static_cast<std::uint8_t*>(std::malloc(smallBodySize)), &std::free);
      std::memcpy(body.get(), frame + 5, smallBodySize);
      benchmark::DoNotOptimize(body.get());
      frame += 5 + std::strtoul(frame + 1, nullptr, 10);
    }
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{smallFrameCount});
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream.size()));
}

BENCHMARK(memcpyOfLargeBody)->Unit(benchmark::kMillisecond);
BENCHMARK(largeBodyIntoMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(largeBodyIntoFile)->Unit(benchmark::kMillisecond);
BENCHMARK(idealLoopOverSmallFrames)->Unit(benchmark::kMillisecond);
BENCHMARK(smallFramesInPieces)
    ->ArgName("piece")
    ->Arg(65'536)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
