// The asynchronous writer on the real run loop: chunks, turns, a full stream, errors and ends.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/DelayedPerform.h"
#include "platform/RunLoop.h"
#include "protocol/AsynchronousWriter.h"
#include "protocol/ZanburyToolProxyMessageDelegate.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ObservedPipe.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/protocol/ScriptedWrites.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;
using State = ZanburyToolProxyMessageState;
using Type = ZanburyToolProxyMessageType;
using Totals = std::vector<std::uint64_t>;
using Sizes = std::vector<std::size_t>;
using Clock = std::chrono::steady_clock;

constexpr int goesThrough = ScriptedWrites::goesThrough;
constexpr int interrupted = 4;
constexpr int brokenPipe = 32;
constexpr int noSpace = 28;

// Keeps the message as the session does, and releases it when it hears of the end.
class Upload : public ZanburyToolProxyMessageDelegate {
 public:
  bool messageShouldContinueWritingWithTotalBytesWritten(AsynchronousWriter& /*message*/,
                                                         std::uint64_t total) override {
    totals.push_back(total);
    return totals.size() < questionToRefuse;
  }

  void messageDidFinishWritingAsynchronously(AsynchronousWriter& message) override {
    ++ends;
    finalState = message.state;
    pending.reset();
  }

  // False when the writing did not start.
  bool start(const std::filesystem::path& file, FileHandle& stream) {
    pending = Message::startWritingMessageWithType(Type::InputArchive, file, stream, *this);
    return pending != nullptr;
  }

  // Turns the loop until the writing has ended, emptying the pipe meanwhile.
  std::string finish(ObservedPipe& stream) {
    std::string received = stream.drain();
    for (int turn = 0; ends == 0 && turn < 100'000; ++turn) {
      RunLoop::main().runOnce();
      received += stream.drain();
    }
    return received;
  }

  Totals totals;
  std::size_t questionToRefuse = std::numeric_limits<std::size_t>::max();
  int ends = 0;
  State finalState = State::None;
  std::unique_ptr<AsynchronousWriter> pending;
};

std::string bytesCounting(std::size_t count) {
  std::string text;
  while (text.size() < count) text += std::to_string(text.size()) + " ";
  text.resize(count);
  return text;
}

class AsynchronousWriting : public testing::Test {
 protected:
  ScratchDirectory folder_;
  ObservedPipe stream_;
  Upload upload_;
};

TEST_F(AsynchronousWriting, SendsHeaderAndFile) {
  const std::string content = bytesCounting(1'000'000);
  ASSERT_TRUE(upload_.start(folder_.write("file", content), stream_.writingEnd));
  EXPECT_EQ(upload_.finish(stream_), "i1000000\n" + content);
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_EQ(upload_.totals.back(), 1'000'000U);
}

// A plain file takes every chunk whole, so the steps are the chunks.
TEST_F(AsynchronousWriting, WritesChunksOf256000BytesAndAsksAfterEach) {
  const std::string content = bytesCounting(600'000);
  const auto destination = folder_.write("stream", "");
  auto stream = FileHandle::forWritingAtPath(destination);
  const ScriptedWrites writes(stream->fileDescriptor());
  ASSERT_TRUE(upload_.start(folder_.write("file", content), *stream));
  upload_.finish(stream_);
  EXPECT_EQ(writes.offered(), (Sizes{8, 256'000, 256'000, 88'000}));
  EXPECT_EQ(upload_.totals, (Totals{256'000, 512'000, 600'000, 600'000}));
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_EQ(contentOf(destination), "i600000\n" + content);
}

TEST_F(AsynchronousWriting, WritesTheHeaderBeforeItReturns) {
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_EQ(stream_.drain(), "i3\n");
  const AsynchronousWriter& message = *upload_.pending;
  EXPECT_EQ(message.state, State::WritingAsynchronously);
  EXPECT_EQ(message.type, Type::InputArchive);
  EXPECT_EQ(message.length, 3U);
  EXPECT_EQ(message.bodyBytesWritten, 0U) << "the header is not part of the body";
  EXPECT_TRUE(upload_.totals.empty()) << "nobody is asked during the header";
  EXPECT_EQ(upload_.finish(stream_), "abc");
  EXPECT_EQ(upload_.totals, (Totals{3, 3}));
}

TEST_F(AsynchronousWriting, WritesOnceATurnAtMost) {
  ASSERT_TRUE(upload_.start(folder_.write("file", bytesCounting(1'000'000)), stream_.writingEnd));
  const ScriptedWrites writes(stream_.writingEnd.fileDescriptor());
  std::size_t before = 0;
  while (upload_.ends == 0) {
    RunLoop::main().runOnce();
    stream_.drain();
    ASSERT_LE(writes.offered().size(), before + 1);
    before = writes.offered().size();
  }
  EXPECT_GT(before, 4U);
}

TEST_F(AsynchronousWriting, KeepsTheStreamNonBlockingWhileItWrites) {
  EXPECT_FALSE(stream_.isNonBlocking());
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_TRUE(stream_.isNonBlocking());
  upload_.finish(stream_);
  EXPECT_FALSE(stream_.isNonBlocking());
}

TEST_F(AsynchronousWriting, LetsTheLoopTurnWhileTheStreamIsFull) {
  const std::size_t filling = stream_.fill();
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  bool loopTurned = false;
  const DelayedPerform somethingElse(std::chrono::milliseconds(1), [&] { loopTurned = true; });
  while (!loopTurned) RunLoop::main().runOnce();
  EXPECT_EQ(upload_.ends, 0);
  EXPECT_EQ(upload_.finish(stream_), std::string(filling, '-') + "i3\nabc");
  EXPECT_EQ(log.text(), "") << "waiting for room is no error";
}

TEST_F(AsynchronousWriting, GoesOnInTheMiddleOfAChunkWhenTheStreamHasRoomAgain) {
  const std::string content = bytesCounting(300'000);
  ASSERT_TRUE(upload_.start(folder_.write("file", content), stream_.writingEnd));
  RunLoop::main().runOnce();
  ASSERT_EQ(upload_.totals.size(), 1U);
  EXPECT_LT(upload_.totals.front(), 256'000U) << "a pipe takes a part of the chunk";
  EXPECT_EQ(upload_.finish(stream_), "i300000\n" + content);
}

TEST_F(AsynchronousWriting, StopsAtTheFirstQuestionAnsweredWithNo) {
  const auto destination = folder_.write("stream", "");
  auto stream = FileHandle::forWritingAtPath(destination);
  upload_.questionToRefuse = 1;
  ASSERT_TRUE(upload_.start(folder_.write("file", bytesCounting(600'000)), *stream));
  upload_.finish(stream_);
  EXPECT_EQ(upload_.totals, (Totals{256'000}));
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_EQ(contentOf(destination).size(), 8U + 256'000U);
}

TEST_F(AsynchronousWriting, MakesTheStreamBlockingAgainWhenItIsStopped) {
  upload_.questionToRefuse = 1;
  ASSERT_TRUE(upload_.start(folder_.write("file", bytesCounting(600'000)), stream_.writingEnd));
  upload_.finish(stream_);
  EXPECT_EQ(upload_.totals.size(), 1U);
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_FALSE(stream_.isNonBlocking());
}

class TransientError : public AsynchronousWriting, public testing::WithParamInterface<int> {};

TEST_P(TransientError, IsRetriedAfterATenthOfASecond) {
  const ScriptedWrites writes(stream_.writingEnd.fileDescriptor(), {goesThrough, GetParam()});
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  const auto start = Clock::now();
  EXPECT_EQ(upload_.finish(stream_), "i3\nabc") << "nothing lost, nothing twice";
  // The loop's clock has whole milliseconds, and may have been looked at a little before.
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(98));
  EXPECT_EQ(writes.offered(), (Sizes{3, 3, 3}));
  EXPECT_EQ(upload_.totals, (Totals{3, 3})) << "nobody is asked after the failed write";
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_EQ(log.text().substr(0, 7), "write: ");
}

// The set is these three numbers on every system.
INSTANTIATE_TEST_SUITE_P(AsynchronousWriting, TransientError, testing::Values(4, 11, 35));

TEST_F(AsynchronousWriting, RetriesTheHeaderToo) {
  const ScriptedWrites writes(stream_.writingEnd.fileDescriptor(), {interrupted, interrupted});
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_EQ(upload_.finish(stream_), "i3\nabc");
  EXPECT_EQ(writes.offered(), (Sizes{3, 3, 3, 3}));
  EXPECT_EQ(log.text(), "write: Interrupted system call\nwrite: Interrupted system call\n");
}

// The session learns of a broken stream from the end of what the server sends: an abort here would
// come before the server's last words are read.
TEST_F(AsynchronousWriting, EndsAsFinishedWhenTheStreamBreaks) {
  ASSERT_TRUE(upload_.start(folder_.write("file", bytesCounting(600'000)), stream_.writingEnd));
  stream_.readingEnd.close();
  const CapturedLog log;
  while (upload_.ends == 0) RunLoop::main().runOnce();
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_TRUE(upload_.totals.empty()) << "nobody is asked after a failure";
  EXPECT_EQ(log.text(), "write: Broken pipe\n");
  EXPECT_FALSE(stream_.isNonBlocking());
}

TEST_F(AsynchronousWriting, EndsAsFinishedAfterAnyOtherErrorInTheBody) {
  const ScriptedWrites writes(stream_.writingEnd.fileDescriptor(), {goesThrough, noSpace});
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_EQ(upload_.finish(stream_), "i3\n");
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
  EXPECT_EQ(log.text(), "write: No space left on device\n");
}

TEST_F(AsynchronousWriting, CanEndBeforeTheStartReturns) {
  const ScriptedWrites writes(stream_.writingEnd.fileDescriptor(), {brokenPipe});
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.pending->state, State::FinishedWriting);
  EXPECT_EQ(stream_.drain(), "");
  EXPECT_FALSE(stream_.isNonBlocking());
}

TEST_F(AsynchronousWriting, DoesNotStartForAnEmptyFile) {
  const CapturedLog log;
  EXPECT_FALSE(upload_.start(folder_.write("empty", ""), stream_.writingEnd));
  EXPECT_EQ(log.text(), "");
  EXPECT_FALSE(stream_.isNonBlocking());
  EXPECT_EQ(upload_.ends, 0);
}

TEST_F(AsynchronousWriting, DoesNotStartForAMissingFileAndSaysWhy) {
  const CapturedLog log;
  EXPECT_FALSE(upload_.start(folder_.path() / "missing", stream_.writingEnd));
  EXPECT_NE(log.text().find("No such file or directory\n"), std::string::npos) << log.text();
  EXPECT_EQ(stream_.drain(), "");
}

TEST_F(AsynchronousWriting, AbortsAtOnceOnAClosedStream) {
  stream_.writingEnd.close();
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::Aborted);
  EXPECT_EQ(log.text(), "poll: bad file descriptor\n");
}

// Nothing compares the bytes sent with the length announced; the file decides.
TEST_F(AsynchronousWriting, SendsWhatAFileHasGainedSinceTheStart) {
  const auto file = folder_.write("file", "abc");
  ASSERT_TRUE(upload_.start(file, stream_.writingEnd));
  appendTo(file, "def");
  EXPECT_EQ(upload_.finish(stream_), "i3\nabcdef");
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
}

TEST_F(AsynchronousWriting, EndsWhereAFileThatShrankEnds) {
  const auto file = folder_.write("file", bytesCounting(600'000));
  ASSERT_TRUE(upload_.start(file, stream_.writingEnd));
  std::filesystem::resize_file(file, 3);
  EXPECT_EQ(upload_.finish(stream_), "i600000\n0 2");
  EXPECT_EQ(upload_.totals, (Totals{3, 3}));
  EXPECT_EQ(upload_.finalState, State::FinishedWriting);
}

// A broken source is the one end that the server could not notice: it would wait for the rest.
TEST_F(AsynchronousWriting, AbortsWhenTheFileCannotBeRead) {
  folder_.write("file", "abc");
  const auto size = ZanburyToolProxyUtilities::fileSizeForPath(folder_.path());
  const CapturedLog log;
  ASSERT_TRUE(upload_.start(folder_.path(), stream_.writingEnd)) << "a directory can be opened";
  EXPECT_EQ(upload_.finish(stream_), fmt::format("i{}\n", size));
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::Aborted);
  EXPECT_EQ(log.text(), "read: Is a directory\n");
  EXPECT_FALSE(stream_.isNonBlocking());
}

TEST_F(AsynchronousWriting, IsAbortedFromOutside) {
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  upload_.pending->transitionToStateFinishedWritingAndAbort(true);
  EXPECT_EQ(upload_.ends, 1);
  EXPECT_EQ(upload_.finalState, State::Aborted);
  EXPECT_FALSE(stream_.isNonBlocking());
  EXPECT_EQ(stream_.drain(), "i3\n");
}

// What is registered with the loop is found out by letting it run until nothing is.
TEST_F(AsynchronousWriting, LeavesNothingBehindWhenItsMessageIsDestroyed) {
  for (const bool streamIsFull : {false, true}) {
    SCOPED_TRACE(streamIsFull);
    stream_.drain();
    if (streamIsFull) stream_.fill();
    ASSERT_TRUE(upload_.start(folder_.write("file", bytesCounting(600'000)), stream_.writingEnd));
    stream_.drain();
    upload_.pending.reset();
    RunLoop::main().run();
    EXPECT_EQ(stream_.drain(), "");
    EXPECT_EQ(upload_.ends, 0);
  }
}

TEST_F(AsynchronousWriting, CanBeFollowedByAMessageWrittenAtOnce) {
  ASSERT_TRUE(upload_.start(folder_.write("file", "abc"), stream_.writingEnd));
  upload_.finish(stream_);
  EXPECT_TRUE(Message::writeMessageWithType(Type::OutputArchiveAcknowledgement, Data{},
                                            stream_.writingEnd));
  EXPECT_EQ(stream_.drain(), "O0\n");
}

}  // namespace
}  // namespace ztp::test
