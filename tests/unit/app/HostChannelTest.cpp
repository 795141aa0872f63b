// The channel to the host on real FIFOs.
#include "app/HostChannel.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "app/SessionFailure.h"
#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/RunLoop.h"
#include "tests/support/Interrupter.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

// The host's ends of the two FIFOs.
class HostChannelTest : public testing::Test {
 protected:
  HostChannelTest() {
    ::mkfifo(input.c_str(), 0600);
    ::mkfifo(output.c_str(), 0600);
    channel.emplace();
  }

  // What the program has written, as far as it is there.
  std::string received() { return std::string(textOf(reader.availableData())); }
  void send(std::string_view text) { writer.writeData(bytesOf(text)); }

  void open() { channel->openFifos(input, output); }
  void start(const std::optional<HostChannel::Polling>& polling) {
    channel->startReadingInputFifoFileHandle(polling, [this](DataView data) {
      consumed.emplace_back(textOf(data));
      if (onData) onData();
      return goesOn;
    });
  }

  ScratchDirectory scratch;
  std::string input = scratch / "in";
  std::string output = scratch / "out";
  std::optional<HostChannel> channel;
  std::vector<std::string> consumed;
  std::function<void()> onData;
  bool goesOn = true;
  FileHandle writer{openedFor("in")};
  FileHandle reader{openedFor("out")};

 private:
  int openedFor(const char* name) {
    ::mkfifo((scratch / name).c_str(), 0600);
    return ::open((scratch / name).c_str(), O_RDWR | O_CLOEXEC);
  }
};

constexpr std::string_view document =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

std::string framed(const std::string& dictionary) {
  const std::string text = std::string(document) + "<dict>\n" + dictionary + "</dict>\n</plist>\n";
  return std::to_string(text.size()) + "\n" + text;
}

TEST_F(HostChannelTest, SendsASectionWithWhatItHas) {
  open();
  channel->sendProgressSectionWithTitle("Canceling...", 0);
  EXPECT_EQ(received(), framed("\t<key>messageType</key>\n\t<string>progressSection</string>\n"
                               "\t<key>progressTitle</key>\n\t<string>Canceling...</string>\n"));
  channel->sendProgressSectionWithTitle(std::nullopt, 5);
  EXPECT_EQ(received(), framed("\t<key>messageType</key>\n\t<string>progressSection</string>\n"
                               "\t<key>progressValue</key>\n\t<integer>5</integer>\n"));
}

TEST_F(HostChannelTest, SendsAStatusOfZeroToo) {
  open();
  channel->sendProgressStatusWithValue(0);
  EXPECT_EQ(received(), framed("\t<key>messageType</key>\n\t<string>progressStatus</string>\n"
                               "\t<key>progressValue</key>\n\t<integer>0</integer>\n"));
}

TEST_F(HostChannelTest, DoesWithoutFifosThatNobodyNames) {
  channel->openFifos(std::nullopt, std::nullopt);
  start(HostChannel::Polling{1});
  EXPECT_FALSE(channel->hasOutput());
  EXPECT_EQ(channel->inputDescriptor(), -1);
  channel->sendProgressStatusWithValue(7);
  channel->checkInput(true);
  EXPECT_TRUE(consumed.empty());
}

TEST_F(HostChannelTest, WritesForwardedBytesAsTheyAre) {
  open();
  channel->writeToOutputFifo(bytesOf("as they are"));
  channel->synchronizeOutputFifo();
  EXPECT_EQ(received(), "as they are");
}

TEST_F(HostChannelTest, GivesWhatTheHostSendsToTheConsumerUntilThatHasEnough) {
  open();
  start(std::nullopt);
  send("first");
  RunLoop::main().runOnce();
  EXPECT_EQ(consumed, std::vector<std::string>{"first"});
  goesOn = false;
  send("second");
  RunLoop::main().runOnce();
  EXPECT_EQ(consumed.back(), "second");
  send("third");
  RunLoop::main().run();  // nothing is registered any more
  EXPECT_EQ(consumed.size(), 2U);
}

TEST_F(HostChannelTest, WhatTheConsumerRaisesEndsTheLoopUnlessThePlatformRaisedIt) {
  open();
  onData = [] { throw PlatformException("of no account"); };
  start(std::nullopt);
  send("x");
  RunLoop::main().runOnce();
  EXPECT_EQ(consumed.size(), 1U);
  channel.emplace();
  open();
  onData = [] { throw SessionFailure{"User canceled"}; };
  start(std::nullopt);
  send("x");
  EXPECT_THROW(RunLoop::main().run(), SessionFailure);
}

TEST_F(HostChannelTest, PollsAtOnceAndThenEveryTenthOfASecond) {
  open();
  send("waiting");
  start(HostChannel::Polling{});
  EXPECT_EQ(consumed, std::vector<std::string>{"waiting"});
  send("later");
  while (consumed.size() < 2) RunLoop::main().runOnce();
  EXPECT_EQ(consumed.back(), "later");
}

// The number of a process that has just gone.
pid_t goneProcess() {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(0);
  ::waitpid(pid, nullptr, 0);
  return pid;
}

TEST_F(HostChannelTest, MissesAHostThatIsGoneWhenNothingIsThere) {
  open();
  try {
    start(HostChannel::Polling{goneProcess()});
    ADD_FAILURE() << "nobody has missed it";
  } catch (const SessionFailure& failure) {
    EXPECT_EQ(failure.reason, "Host terminated");
    EXPECT_FALSE(failure.error || failure.exception || failure.userDidCancel);
  }
}

TEST_F(HostChannelTest, LooksForTheHostOnlyWhenItPolls) {
  open();
  start(std::nullopt);
  EXPECT_NO_THROW(channel->checkInput(true));
  channel.emplace();
  open();
  start(HostChannel::Polling{::getpid()});
  EXPECT_NO_THROW(channel->checkInput(true));
}

TEST_F(HostChannelTest, LeavesBytesAloneThatMayNotBeConsumed) {
  open();
  start(std::nullopt);
  send("early");
  channel->checkInput(false);
  EXPECT_TRUE(consumed.empty());
  channel->checkInput(true);
  EXPECT_EQ(consumed, std::vector<std::string>{"early"});
}

TEST_F(HostChannelTest, LeavesBytesAloneUntilTheReadingBegins) {
  open();
  send("early");
  channel->checkInput(true);
  start(HostChannel::Polling{});
  EXPECT_EQ(consumed, std::vector<std::string>{"early"});
}

TEST_F(HostChannelTest, IsNotWatchedWhereItCouldAlwaysBeRead) {
  channel->openFifos("/dev/null", std::nullopt);
  EXPECT_EQ(channel->inputDescriptor(), -1);
  channel->openFifos(std::nullopt, std::nullopt);
  HostChannel fifos;
  fifos.openFifos(input, std::nullopt);
  EXPECT_NE(fifos.inputDescriptor(), -1);
}

TEST_F(HostChannelTest, ClosesBothWhenItGoes) {
  open();
  const int descriptor = channel->inputDescriptor();
  EXPECT_NE(::fcntl(descriptor, F_GETFD), -1);
  channel.reset();
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST_F(HostChannelTest, WritesNothingBehindHalfAMessage) {
  open();
  {
    const Interrupter interrupter([] { throw SessionFailure{"Terminated"}; });
    EXPECT_THROW(channel->writeToOutputFifo(Data(1'000'000, std::uint8_t{'x'})), SessionFailure);
  }
  std::size_t held = 0;
  for (auto text = received(); !text.empty(); text = received()) held += text.size();
  EXPECT_GT(held, 0U);
  channel->sendProgressSectionWithTitle("Canceling...", 0);
  EXPECT_EQ(received(), "");
}

TEST_F(HostChannelTest, AMessageThatNobodyTakesIsAFailureOfTheSession) {
  open();
  while (true) {
    // Until the FIFO is full.
    const std::string text(4096, 'x');
    ::fcntl(reader.fileDescriptor(), F_SETFL, O_NONBLOCK);
    if (::write(reader.fileDescriptor(), text.data(), text.size()) < 0) break;
  }
  BlockingWait::setDeadline(BlockingWait::Clock::now());
  try {
    channel->sendProgressStatusWithValue(1);
    ADD_FAILURE() << "it was sent";
  } catch (const SessionFailure& failure) {
    EXPECT_EQ(failure.reason, "Could not send FIFO message");
    ASSERT_TRUE(failure.exception);
    EXPECT_STREQ(failure.exception->what(), "write: the other side takes nothing");
  }
  BlockingWait::setDeadline(std::nullopt);
}

}  // namespace
}  // namespace ztp::test
