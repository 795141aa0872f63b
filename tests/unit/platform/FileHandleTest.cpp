// File handles on pipes, FIFOs and files, and the attended waits beneath them.
#include "platform/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Pipe.h"
#include "platform/System.h"
#include "tests/unit/platform/ScratchDirectory.h"

namespace ztp {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Counts its calls; watches one descriptor and gives up at a time.
class Observer : public Attendant {
 public:
  Observer() { BlockingWait::setAttendant(this); }
  ~Observer() override { BlockingWait::setAttendant(nullptr); }
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  [[nodiscard]] std::vector<int> descriptorsToWatch() const override { return watched; }
  void attend() override {
    ++calls;
    if (onCall) onCall();
  }
  [[nodiscard]] std::optional<Clock::time_point> deadline() const override { return end; }

  std::vector<int> watched;
  std::optional<Clock::time_point> end;
  std::function<void()> onCall;
  int calls = 0;
};

void fillPipe(const Pipe& pipe) {
  const int descriptor = pipe.writingEnd.fileDescriptor();
  ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
  const std::vector<char> bytes(65'536);
  while (::write(descriptor, bytes.data(), bytes.size()) > 0) {
  }
  ::fcntl(descriptor, F_SETFL, 0);
}

TEST(FileHandle, ReadsWhatIsThereWhateverWasExpected) {
  const ScratchDirectory scratch;
  fill(scratch / "file", std::string(1000, 'z'));
  for (const std::size_t expected : {0U, 999U, 1000U, 1001U, 5000U}) {
    auto file = FileHandle::forReadingAtPath(scratch / "file");
    EXPECT_EQ(file->size(), 1000U);
    EXPECT_EQ(file->readDataOfLength(700, expected).size(), 700U) << expected;
    EXPECT_EQ(file->readDataOfLength(700, expected).size(), 300U) << expected;
    EXPECT_TRUE(file->readDataOfLength(700, expected).empty()) << expected;
  }
}

TEST(FileHandle, RoomIsMadeOnlyForWhatIsExpected) {
  const ScratchDirectory scratch;
  fill(scratch / "file", std::string(1000, 'z'));
  auto file = FileHandle::forReadingAtPath(scratch / "file");
  EXPECT_LT(file->readDataOfLength(5'000'000, 1000).capacity(), 2000U);
}

TEST(FileHandle, APipeHasNoSize) {
  EXPECT_EQ(Pipe::create().readingEnd.size(), 0U);
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
  Observer observer;
  observer.end = Clock::now() + milliseconds{20};
  EXPECT_THROW(pipe.writingEnd.writeData(bytesOf("x")), PlatformException);
}

TEST(FileHandle, LetsTheAttendantMakeRoomInAFullPipe) {
  Pipe pipe = Pipe::create();
  fillPipe(pipe);
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  Observer observer;
  observer.watched = {bell.readingEnd.fileDescriptor()};
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

TEST(BlockingWait, CallsTheAttendantAgainAndAgain) {
  Observer observer;
  observer.onCall = [&] {
    if (observer.calls == 2) observer.end = Clock::now();
  };
  Pipe pipe = Pipe::create();
  EXPECT_EQ(BlockingWait::untilReadable(pipe.readingEnd.fileDescriptor()),
            BlockingWait::Outcome::expired);
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

TEST(BlockingWait, CallsTheAttendantHoweverOftenItIsInterrupted) {
  Observer observer;
  observer.onCall = [&] {
    if (observer.calls == 2) observer.end = Clock::now();
  };
  Pipe pipe = Pipe::create();
  const SignalStorm storm;
  EXPECT_EQ(BlockingWait::untilReadable(pipe.readingEnd.fileDescriptor()),
            BlockingWait::Outcome::expired);
  EXPECT_EQ(observer.calls, 2);
}

TEST(BlockingWait, GlancesWithoutWaiting) {
  Observer observer;
  BlockingWait::glance();
  EXPECT_EQ(observer.calls, 0);
  Pipe bell = Pipe::create();
  bell.writingEnd.writeData(bytesOf("!"));
  observer.watched = {bell.readingEnd.fileDescriptor()};
  BlockingWait::glance();
  EXPECT_EQ(observer.calls, 1);
}

}  // namespace
}  // namespace ztp
