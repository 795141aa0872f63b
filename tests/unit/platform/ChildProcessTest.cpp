// Children: what they inherit, how they start and fail to start, how they end.
#include "platform/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Pipe.h"
#include "platform/Signals.h"
#include "tests/support/Interrupter.h"

namespace ztp::test {
namespace {

// Runs a shell script with the given environment and returns what it printed.
std::string printedBy(const std::string& script, std::vector<std::string> environment = {}) {
  Pipe pipe = Pipe::create();
  FileHandle null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  auto child = ChildProcess::launch(
      {"/bin/sh", {"-c", script}, std::move(environment)},
      {null.fileDescriptor(), pipe.writingEnd.fileDescriptor(), STDERR_FILENO});
  pipe.writingEnd.close();
  const Data printed = pipe.readingEnd.readDataOfLength(65'536);
  child.waitUntilExit();
  return std::string(textOf(printed));
}

ChildProcess launchIdle(int standardOutput = 1) {
  return ChildProcess::launch({"/bin/sleep", {"1000"}, {}}, {0, standardOutput, 2});
}

constexpr int patienceInMilliseconds = 300'000;

bool isGone(pid_t pid) {
  return ::kill(pid, 0) != 0 && errno == ESRCH;
}

TEST(ChildProcess, GetsExactlyTheGivenEnvironment) {
  EXPECT_EQ(printedBy("tr '\\0' '\\n' </proc/self/environ", {"A=1", "B=two words"}),
            "A=1\nB=two words\n");
}

TEST(ChildProcess, InheritsThreeDescriptors) {
  const FileHandle inheritable(::open("/dev/null", O_RDONLY));  // not close-on-exec
  // The fourth is the listing's own look into the directory.
  EXPECT_EQ(printedBy("/bin/ls /proc/self/fd"), "0\n1\n2\n3\n");
}

// What was caught has its default again after exec in any case.
TEST(ChildProcess, StartsWithNoSignalBlockedOrIgnored) {
  Signals::catchTermination();  // ignores SIGPIPE in this process
  const std::string status = printedBy("/bin/grep -E '^Sig(Blk|Ign)' /proc/self/status");
  EXPECT_EQ(status, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST(ChildProcess, SaysWhyItCannotStart) {
  try {
    ChildProcess::launch({"/nonexistent/program", {}, {}}, {0, 1, 2});
    FAIL() << "it started";
  } catch (const PlatformException& exception) {
    EXPECT_STREQ(exception.what(),
                 "Could not launch /nonexistent/program: No such file or directory");
  }
}

TEST(ChildProcess, IsCollectedWhenItEndsAfterItWasForgotten) {
  pid_t pid = -1;
  {
    auto child = launchIdle();
    pid = child.processIdentifier();
    child.terminate();
  }
  while (!isGone(pid)) {
    static_cast<void>(BlockingWait::untilReadable(Signals::childExitDescriptor()));
    Signals::drainChildExits();
    ChildProcess::reapForgotten();
  }
  EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1);
}

// Lets a child end that waits for the end of this pipe, once this process waits for the child.
class GateOpener : public InterruptHandler {
 public:
  explicit GateOpener(FileHandle& gate) : gate_(gate) {}

  [[nodiscard]] Descriptors descriptorsToWatch() const override { return {-1, -1}; }
  void handleInterrupts() override {
    if (++calls == 1) gate_.close();
  }

  int calls = 0;

 private:
  FileHandle& gate_;
  BlockingWait::Registration registration_{*this};
};

TEST(ChildProcess, IsFoundExitedThoughNoSignalSaysSo) {
  const int childExits = Signals::childExitDescriptor();
  sigset_t childExit{};
  sigset_t before{};
  sigemptyset(&childExit);
  sigaddset(&childExit, SIGCHLD);
  ::sigprocmask(SIG_BLOCK, &childExit, &before);
  Pipe pipe = Pipe::create();
  auto child = ChildProcess::launch({"/bin/cat", {}, {}}, {pipe.readingEnd.fileDescriptor(), 1, 2});
  const pid_t pid = child.processIdentifier();
  const GateOpener opener(pipe.writingEnd);
  child.waitUntilExit();
  EXPECT_GE(opener.calls, 1) << "it ended before it was waited for";
  EXPECT_TRUE(isGone(pid));
  pollfd announcement{childExits, POLLIN, 0};
  EXPECT_EQ(::poll(&announcement, 1, 0), 0) << "its end was announced";
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST(ChildProcess, IsKilledAndCollectedWhenItsWaitIsInterrupted) {
  auto child = launchIdle();
  const pid_t pid = child.processIdentifier();
  const Interrupter interrupter([] { throw Interruption{}; });
  EXPECT_THROW(child.waitUntilExit(), Interruption);
  EXPECT_EQ(::kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, IsKilledWhenItsParentIsGone) {
  Pipe pipe = Pipe::create();
  const pid_t middle = ::fork();
  if (middle == 0) {
    const auto child = launchIdle(pipe.writingEnd.fileDescriptor());
    static_cast<void>(!::write(pipe.writingEnd.fileDescriptor(), "launched", 8));
    ::raise(SIGKILL);
  }
  pipe.writingEnd.close();
  EXPECT_EQ(textOf(pipe.readingEnd.readDataOfLength(8)), "launched");
  ::waitpid(middle, nullptr, 0);
  // The child was the last to hold the other end.
  pollfd end{pipe.readingEnd.fileDescriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&end, 1, patienceInMilliseconds), 1);
  EXPECT_TRUE(pipe.readingEnd.readDataOfLength(1).empty());
}

}  // namespace
}  // namespace ztp::test
