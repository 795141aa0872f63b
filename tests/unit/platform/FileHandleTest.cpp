// File handles on pipes, FIFOs and files, and the interruptible waits beneath them.
#include "platform/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <new>
#include <thread>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Pipe.h"
#include "platform/System.h"
#include "tests/support/Allocations.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Counts its calls; watches one descriptor.
class Observer : public InterruptHandler {
 public:
  [[nodiscard]] Descriptors descriptorsToWatch() const override { return {watched, -1}; }
  void handleInterrupts() override {
    ++calls;
    if (onCall) onCall();
  }

  int watched = -1;
  std::function<void()> onCall;
  int calls = 0;

 private:
  BlockingWait::Registration registration_{*this};
};

// Raised by an observer to end a wait.
struct Interruption {};

// A deadline of all waits for the life of this object.
class Deadline {
 public:
  explicit Deadline(milliseconds fromNow) { BlockingWait::setDeadline(Clock::now() + fromNow); }
  ~Deadline() { BlockingWait::setDeadline(std::nullopt); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;
};

void fillPipe(const Pipe& pipe) {
  const int descriptor = pipe.writingEnd.fileDescriptor();
  ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
  const std::vector<char> bytes(65'536);
  while (::write(descriptor, bytes.data(), bytes.size()) > 0) {
  }
  ::fcntl(descriptor, F_SETFL, 0);
}

TEST(FileHandle, ReadsAsMuchAsThereIs) {
  const ScratchDirectory scratch;
  fill(scratch / "file", std::string(1000, 'z'));
  auto file = FileHandle::forReadingAtPath(scratch / "file");
  std::array<std::uint8_t, 700> bytes{};
  EXPECT_EQ(file->read(bytes), 700U);
  EXPECT_EQ(file->readDataOfLength(700), Data(300, std::uint8_t{'z'}));
  EXPECT_EQ(file->read(bytes), 0U);
  EXPECT_TRUE(file->readDataOfLength(700).empty());
}

TEST(FileHandle, WaitsForThePartsThatAPipeBringsItsBytesIn) {
  Pipe pipe = Pipe::create();
  std::thread writer([&] {
    for (int part = 0; part < 100; ++part) pipe.writingEnd.writeData(bytesOf("0123456"));
    pipe.writingEnd.close();
  });
  std::array<std::uint8_t, 500> bytes{};
  EXPECT_EQ(pipe.readingEnd.read(bytes), 500U);
  EXPECT_EQ(pipe.readingEnd.read(bytes), 200U);
  writer.join();
}

TEST(FileHandle, OverwritingMakesAFileForItsOwnerOrEmptiesTheOneThatIsThere) {
  const ScratchDirectory scratch;
  fill(scratch / "old", "text");
  fs::permissions(scratch / "old", fs::perms(0640));
  EXPECT_TRUE(FileHandle::forOverwritingAtPath(scratch / "old"));
  EXPECT_TRUE(FileHandle::forOverwritingAtPath(scratch / "new"));
  EXPECT_EQ(fs::file_size(scratch / "old"), 0U);
  EXPECT_EQ(fs::status(scratch / "old").permissions(), fs::perms(0640));
  EXPECT_EQ(fs::status(scratch / "new").permissions(), fs::perms(0600));
  EXPECT_FALSE(FileHandle::forOverwritingAtPath(scratch / "missing/new"));
}

TEST(FileHandle, WritesMoreThanAPipeHoldsWhileSomebodyReads) {
  Pipe pipe = Pipe::create();
  Data received;
  std::thread reader([&] { received = pipe.readingEnd.readDataOfLength(5'000'000); });
  Data sent(5'000'000);
  for (std::size_t index = 0; index < sent.size(); ++index) {
    sent[index] = static_cast<std::uint8_t>(index * 7);
  }
  pipe.writingEnd.writeData(sent);
  pipe.writingEnd.close();
  reader.join();
  EXPECT_EQ(received, sent);
}

TEST(FileHandle, RaisesWhenNobodyCanRead) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe pipe = Pipe::create();
  pipe.readingEnd.close();
  try {
    pipe.writingEnd.writeData(bytesOf("x"));
    FAIL() << "it was written";
  } catch (const PlatformException& exception) {
    EXPECT_STREQ(exception.what(), "write: Broken pipe");
  }
}

TEST(FileHandle, GivesUpAFullPipeAtTheDeadline) {
  Pipe pipe = Pipe::create();
  fillPipe(pipe);
  const Deadline deadline(milliseconds{20});
  EXPECT_THROW(pipe.writingEnd.writeData(bytesOf("x")), PlatformException);
}

TEST(FileHandle, LetsTheHandlerMakeRoomInAFullPipe) {
  Pipe pipe = Pipe::create();
  fillPipe(pipe);
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  Observer observer;
  observer.watched = bell.readingEnd.fileDescriptor();
  observer.onCall = [&] { static_cast<void>(pipe.readingEnd.readDataOfLength(65'536)); };
  pipe.writingEnd.writeData(bytesOf("x"));
  EXPECT_EQ(observer.calls, 1);
}

TEST(FileHandle, AvailableDataNeverWaits) {
  Pipe pipe = Pipe::create();
  EXPECT_TRUE(pipe.readingEnd.availableData().empty());
  pipe.writingEnd.writeData(bytesOf("abc"));
  EXPECT_EQ(textOf(pipe.readingEnd.availableData()), "abc");
  pipe.writingEnd.close();
  EXPECT_TRUE(pipe.readingEnd.availableData().empty());
}

TEST(FileHandle, SynchronizingAFifoIsNoFailure) {
  const ScratchDirectory scratch;
  ASSERT_EQ(::mkfifo((scratch / "fifo").c_str(), 0600), 0);
  FileHandle fifo(::open((scratch / "fifo").c_str(), O_RDWR));
  EXPECT_NO_THROW(fifo.synchronize());
  fifo.close();
  EXPECT_THROW(fifo.synchronize(), PlatformException);
}

TEST(FileHandle, ClosesWhatItOwnsAndLeavesWhatItBorrows) {
  Pipe pipe = Pipe::create();
  const int descriptor = pipe.readingEnd.fileDescriptor();
  { const FileHandle borrowed(descriptor, FileHandle::Ownership::borrows); }
  EXPECT_NE(::fcntl(descriptor, F_GETFD), -1);
  { const FileHandle owner = std::move(pipe.readingEnd); }
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST(Pipe, IsInheritedByNobodyAndTellsWhatItHolds) {
  Pipe pipe = Pipe::create();
  EXPECT_EQ(::fcntl(pipe.readingEnd.fileDescriptor(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(pipe.writingEnd.fileDescriptor(), F_GETFD), FD_CLOEXEC);
  pipe.writingEnd.writeData(bytesOf("12345"));
  EXPECT_EQ(system::bytesInPipe(pipe.writingEnd.fileDescriptor()), 5U);
}

TEST(BlockingWait, CallsTheHandlerAgainAndAgain) {
  Observer observer;
  observer.onCall = [&] {
    if (observer.calls == 2) throw Interruption{};
  };
  Pipe pipe = Pipe::create();
  EXPECT_THROW(static_cast<void>(BlockingWait::untilReadable(pipe.readingEnd.fileDescriptor())),
               Interruption);
  EXPECT_EQ(observer.calls, 2);
}

// Breaks off every system call of this process that waits, a thousand times a second.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int /*signalNumber*/) {};
    ::sigaction(SIGALRM, &action, &before_);
    const itimerval everyMillisecond{{0, 1'000}, {0, 1'000}};
    ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
  }
  ~SignalStorm() {
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before_, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;

 private:
  struct sigaction before_ {};
};

TEST(BlockingWait, CallsTheHandlerHoweverOftenItIsInterrupted) {
  Observer observer;
  observer.onCall = [&] {
    if (observer.calls == 2) throw Interruption{};
  };
  Pipe pipe = Pipe::create();
  const SignalStorm storm;
  EXPECT_THROW(static_cast<void>(BlockingWait::untilReadable(pipe.readingEnd.fileDescriptor())),
               Interruption);
  EXPECT_EQ(observer.calls, 2);
}

TEST(BlockingWait, ChecksInterruptsWithoutWaiting) {
  Observer observer;
  BlockingWait::checkInterrupts();
  EXPECT_EQ(observer.calls, 0);
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  observer.watched = bell.readingEnd.fileDescriptor();
  BlockingWait::checkInterrupts();
  EXPECT_EQ(observer.calls, 1);
}

TEST(BlockingWait, IsNotInterruptedOnceThereIsADeadline) {
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  Observer observer;
  observer.watched = bell.readingEnd.fileDescriptor();
  const Deadline deadline(milliseconds{10});
  const Pipe pipe = Pipe::create();
  EXPECT_EQ(BlockingWait::untilReadable(pipe.readingEnd.fileDescriptor()),
            BlockingWait::Outcome::expired);
  BlockingWait::sleepFor(std::chrono::hours(1));
  BlockingWait::checkInterrupts();
  EXPECT_EQ(observer.calls, 0);
}

// Waits for what never comes when it goes.
class WaitingDestructor {
 public:
  WaitingDestructor(const Pipe& pipe, BlockingWait::Outcome& outcome)
      : pipe_(pipe), outcome_(outcome) {}
  ~WaitingDestructor() {
    BlockingWait::checkInterrupts();
    outcome_ = BlockingWait::untilReadable(pipe_.readingEnd.fileDescriptor());
  }
  WaitingDestructor(const WaitingDestructor&) = delete;
  WaitingDestructor& operator=(const WaitingDestructor&) = delete;

 private:
  const Pipe& pipe_;
  BlockingWait::Outcome& outcome_;
};

TEST(BlockingWait, HasAnEndAndIsNotInterruptedWhileTheStackUnwinds) {
  const Pipe pipe = Pipe::create();
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  Observer observer;
  observer.watched = bell.readingEnd.fileDescriptor();
  auto outcome = BlockingWait::Outcome::ready;
  try {
    const WaitingDestructor waiting(pipe, outcome);
    throw Interruption{};
  } catch (const Interruption&) {
    EXPECT_EQ(outcome, BlockingWait::Outcome::expired);
  }
  EXPECT_EQ(observer.calls, 0);
}

TEST(BlockingWait, AllocatesNothing) {
  Observer observer;
  const Pipe pipe = Pipe::create();
  const std::size_t before = test::allocationCount();
  EXPECT_EQ(BlockingWait::untilWritable(pipe.writingEnd.fileDescriptor()),
            BlockingWait::Outcome::ready);
  BlockingWait::checkInterrupts();
  EXPECT_EQ(test::allocationCount(), before);
  ::operator delete(::operator new(1));
  EXPECT_EQ(test::allocationCount(), before + 1) << "allocations are not counted";
}

}  // namespace
}  // namespace ztp::test
