// The run loop's clients: timers, delayed performs, readiness watchers, background readers.
#include "platform/RunLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>

#include "platform/BackgroundReader.h"
#include "platform/DelayedPerform.h"
#include "platform/Error.h"
#include "platform/Pipe.h"
#include "platform/ReadinessWatcher.h"
#include "platform/Timer.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using std::chrono::milliseconds;

template <typename Condition>
void turnUntil(Condition condition) {
  while (!condition()) RunLoop::main().runOnce();
}

TEST(Timer, TicksUntilItIsDestroyedWithinItsOwnCallback) {
  int ticks = 0;
  std::optional<Timer> timer;
  timer.emplace(milliseconds{1}, [&] {
    if (++ticks == 3) timer.reset();
  });
  RunLoop::main().run();  // returns because nothing is registered any more
  EXPECT_EQ(ticks, 3);
}

TEST(DelayedPerform, HappensOnceAndOnlyInALaterTurn) {
  int calls = 0;
  const DelayedPerform perform(milliseconds{0}, [&] { ++calls; });
  EXPECT_EQ(calls, 0);
  turnUntil([&] { return calls > 0; });
  const DelayedPerform another(milliseconds{2}, [&] { ++calls; });
  turnUntil([&] { return calls > 1; });
  EXPECT_EQ(calls, 2);
}

TEST(DelayedPerform, DoesNotHappenWhenItIsDestroyedBefore) {
  bool happened = false;
  {
    const DelayedPerform perform(milliseconds{0}, [&] { happened = true; });
  }
  RunLoop::main().run();
  EXPECT_FALSE(happened);
}

TEST(DelayedPerform, GivesOtherEventsTheirTurnBetweenTwoWithoutDelay) {
  Pipe pipe = Pipe::create();
  pipe.writingEnd.writeData(bytesOf("x"));
  int performs = 0;
  bool wasReadable = false;
  std::optional<DelayedPerform> next;
  std::function<void()> again = [&] {
    ++performs;
    next.emplace(milliseconds{0}, again);
  };
  again();
  std::optional<ReadinessWatcher> watcher;
  watcher.emplace(pipe.readingEnd.fileDescriptor(), ReadinessWatcher::Interest::readable, [&] {
    wasReadable = true;
    watcher.reset();
  });
  turnUntil([&] { return wasReadable; });
  EXPECT_LE(performs, 3) << "the watcher waited for many performs";
}

TEST(ReadinessWatcher, LeavesTheFlagsOfTheDescriptor) {
  Pipe pipe = Pipe::create();
  const int before = ::fcntl(pipe.readingEnd.fileDescriptor(), F_GETFL);
  const ReadinessWatcher watcher(pipe.readingEnd.fileDescriptor(),
                                 ReadinessWatcher::Interest::readable, [] {});
  EXPECT_EQ(::fcntl(pipe.readingEnd.fileDescriptor(), F_GETFL), before);
}

TEST(ReadinessWatcher, RaisesForADescriptorThatIsNone) {
  EXPECT_THROW(ReadinessWatcher(-1, ReadinessWatcher::Interest::readable, [] {}),
               PlatformException);
}

TEST(BackgroundReader, DeliversOneReadForEachRequest) {
  Pipe pipe = Pipe::create();
  std::string received;
  std::optional<BackgroundReader> reader;
  reader.emplace(pipe.readingEnd.fileDescriptor(), 2, [&](DataView data) {
    received += std::string(textOf(data)) + "|";
    if (received.size() < 6) reader->readInBackgroundAndNotify();
  });
  reader->readInBackgroundAndNotify();
  pipe.writingEnd.writeData(bytesOf("abcdef"));
  RunLoop::main().run();  // the third read was not asked for
  EXPECT_EQ(received, "ab|cd|");
}

TEST(BackgroundReader, TellsTheEndOfTheStreamByNoBytes) {
  Pipe pipe = Pipe::create();
  pipe.writingEnd.close();
  std::optional<std::size_t> size;
  BackgroundReader reader(pipe.readingEnd.fileDescriptor(), 10,
                          [&](DataView data) { size = data.size(); });
  reader.readInBackgroundAndNotify();
  turnUntil([&] { return size.has_value(); });
  EXPECT_EQ(size, 0U);
}

TEST(BackgroundReader, ReadsPlainFilesToo) {
  const ScratchDirectory scratch;
  fill(scratch / "file", "content");
  const auto file = FileHandle::forReadingAtPath(scratch / "file");
  std::string received;
  BackgroundReader reader(file->fileDescriptor(), 100,
                          [&](DataView data) { received = textOf(data); });
  reader.readInBackgroundAndNotify();
  turnUntil([&] { return !received.empty(); });
  EXPECT_EQ(received, "content");
}

TEST(BackgroundReader, MayBeDestroyedWithinItsOwnCallback) {
  Pipe pipe = Pipe::create();
  pipe.writingEnd.writeData(bytesOf("abc"));
  std::optional<BackgroundReader> reader;
  std::string received;
  reader.emplace(pipe.readingEnd.fileDescriptor(), 1, [&](DataView data) {
    reader.reset();
    received += textOf(data);
  });
  reader->readInBackgroundAndNotify();
  RunLoop::main().run();
  EXPECT_EQ(received, "a");
}

// No std::exception, as the one that ends the program is none.
struct Raised {
  int number;
};

int numberRaisedBy(const std::function<void()>& turn) {
  try {
    turn();
  } catch (const Raised& raised) {
    return raised.number;
  }
  return 0;
}

TEST(RaisedInACallback, ComesOutOfTheLoopWhateverCalledIt) {
  const auto raise = [] { throw Raised{7}; };
  const auto run = [] { RunLoop::main().run(); };
  {
    const Timer timer(milliseconds{1}, raise);
    EXPECT_EQ(numberRaisedBy(run), 7);
  }
  {
    const DelayedPerform now(milliseconds{0}, raise);
    EXPECT_EQ(numberRaisedBy(run), 7);
  }
  {
    const DelayedPerform later(milliseconds{1}, raise);
    EXPECT_EQ(numberRaisedBy([&] {
                for (;;) RunLoop::main().runOnce();
              }),
              7);
  }
  const Pipe pipe = Pipe::create();
  const ReadinessWatcher watcher(pipe.writingEnd.fileDescriptor(),
                                 ReadinessWatcher::Interest::writable, raise);
  EXPECT_EQ(numberRaisedBy(run), 7);
}

TEST(RaisedInACallback, IsTheLastOneCalled) {
  int calls = 0;
  const auto raise = [&] { throw Raised{++calls}; };
  const DelayedPerform first(milliseconds{0}, raise);
  const DelayedPerform second(milliseconds{0}, raise);
  const Pipe pipe = Pipe::create();
  const ReadinessWatcher third(pipe.writingEnd.fileDescriptor(),
                               ReadinessWatcher::Interest::writable, raise);
  EXPECT_EQ(numberRaisedBy([] { RunLoop::main().run(); }), 1);
  EXPECT_EQ(calls, 1);
}

TEST(RaisedInACallback, DoesNotKeepTheLoopFromRunningAgain) {
  {
    const DelayedPerform raising(milliseconds{0}, [] { throw Raised{1}; });
    EXPECT_EQ(numberRaisedBy([] { RunLoop::main().run(); }), 1);
  }
  bool isCalled = false;
  const DelayedPerform later(milliseconds{0}, [&] { isCalled = true; });
  turnUntil([&] { return isCalled; });
}

}  // namespace
}  // namespace ztp::test
