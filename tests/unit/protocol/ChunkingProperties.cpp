// Properties over many generated streams: where a stream is cut never changes what is read from
// it, and what the writer writes is what the reader reads.
#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "protocol/ZanburyToolProxyMessage.h"
#include "tests/support/ObservedPipe.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/protocol/ReaderOutcome.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;
using State = ZanburyToolProxyMessageState;
using Type = ZanburyToolProxyMessageType;

std::string frame(char rawValue, const std::string& body) {
  return rawValue + std::to_string(body.size()) + "\n" + body;
}

rc::Gen<std::string> bytes() {
  return rc::gen::container<std::string>(rc::gen::arbitrary<char>());
}

// Sound frames of every type, archives included.
rc::Gen<std::string> soundFrame() {
  const std::string rawValues = ".!hcsiI[f]oO";
  return rc::gen::apply(frame, rc::gen::elementOf(rawValues), bytes());
}

// What a hostile server may send: the alphabet of the framing in any order.
rc::Gen<std::string> brokenText() {
  const std::string alphabet = "hfo019\n\n-ax";
  return rc::gen::container<std::string>(rc::gen::elementOf(alphabet));
}

std::string streamOf(const std::vector<std::string>& frames) {
  std::string stream;
  for (const auto& each : frames) stream += each;
  return stream;
}

std::vector<std::size_t> cutsFor(const std::string& stream) {
  auto cuts = *rc::gen::container<std::vector<std::size_t>>(
      rc::gen::inRange<std::size_t>(0, stream.size() + 1));
  std::sort(cuts.begin(), cuts.end());
  return cuts;
}

std::vector<std::size_t> everyByteOf(const std::string& stream) {
  std::vector<std::size_t> cuts;
  for (std::size_t cut = 1; cut < stream.size(); ++cut) cuts.push_back(cut);
  return cuts;
}

void checkThatCutsDoNotMatter(const std::string& stream, const std::filesystem::path* directory) {
  const auto whole = readStream(stream, {}, directory);
  RC_ASSERT(readStream(stream, cutsFor(stream), directory) == whole);
  RC_ASSERT(readStream(stream, everyByteOf(stream), directory) == whole);
}

TEST(Chunking, NeverChangesASoundStream) {
  const ScratchDirectory folder;
  EXPECT_TRUE(rc::check("sound frames", [&folder] {
    checkThatCutsDoNotMatter(streamOf(*rc::gen::container<std::vector<std::string>>(soundFrame())),
                             &folder.path());
  }));
}

TEST(Chunking, NeverChangesABrokenStream) {
  EXPECT_TRUE(rc::check("frames and what is none", [] {
    const auto sound = *rc::gen::container<std::vector<std::string>>(soundFrame());
    checkThatCutsDoNotMatter(streamOf(sound) + *brokenText(), nullptr);
  }));
}

TEST(SoundStream, IsReadFrameByFrameToItsEnd) {
  EXPECT_TRUE(rc::check("every frame finishes", [] {
    const auto frames = *rc::gen::container<std::vector<std::string>>(soundFrame());
    const auto outcomes = readStream(streamOf(frames), {}, nullptr);
    RC_ASSERT(outcomes.size() == frames.size());
    RC_ASSERT(std::all_of(outcomes.begin(), outcomes.end(), [](const auto& outcome) {
      return outcome.state == State::FinishedReading;
    }));
  }));
}

TEST(WrittenMessage, IsReadAsItWas) {
  EXPECT_TRUE(rc::check("there and back", [] {
    const auto type = static_cast<Type>(*rc::gen::inRange(0, 12));
    const std::string body = *bytes();
    ObservedPipe stream;
    RC_ASSERT(Message::writeMessageWithType(type, copyOf(bytesOf(body)), stream.writingEnd));
    const auto outcomes = readStream(stream.drain(), {}, nullptr);
    const ReaderOutcome expected{State::FinishedReading, type, body.size(),
                                 body.empty() ? "(none)" : body};
    RC_ASSERT(outcomes == std::vector<ReaderOutcome>{expected});
  }));
}

}  // namespace
}  // namespace ztp::test
