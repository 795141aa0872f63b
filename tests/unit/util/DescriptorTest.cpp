// Descriptors: handles of them, blocking and not, waiting for room.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Error.h"
#include "platform/System.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Interrupter.h"
#include "tests/support/ObservedPipe.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

bool isBlocking(int fileDescriptor) {
  return (::fcntl(fileDescriptor, F_GETFL) & O_NONBLOCK) == 0;
}
bool isOpen(int fileDescriptor) {
  return ::fcntl(fileDescriptor, F_GETFD) != -1;
}

TEST(SetBlocking, SwitchesThereAndBackAndKeepsTheOtherFlags) {
  const ObservedPipe pipe;
  ::fcntl(pipe.writingEnd.fileDescriptor(), F_SETFL, O_APPEND);
  Utilities::setBlocking(false, pipe.writingEnd.fileDescriptor());
  EXPECT_FALSE(isBlocking(pipe.writingEnd.fileDescriptor()));
  Utilities::setBlocking(true, pipe.writingEnd.fileDescriptor());
  EXPECT_TRUE(isBlocking(pipe.writingEnd.fileDescriptor()));
  EXPECT_NE(::fcntl(pipe.writingEnd.fileDescriptor(), F_GETFL) & O_APPEND, 0);
}

// Flags of a descriptor that only names a place (O_PATH) can be read, but to set them fails.
TEST(SetBlocking, InTheWantedModeSetsNothing) {
  const int fileDescriptor = ::open("/", system::searchOnlyFlag() | O_CLOEXEC);
  CapturedLog quiet;
  Utilities::setBlocking(true, fileDescriptor);
  EXPECT_EQ(quiet.text(), "");
  CapturedLog log;
  Utilities::setBlocking(false, fileDescriptor);
  EXPECT_EQ(log.text(), "fcntl: Bad file descriptor\n");
  ::close(fileDescriptor);
}

TEST(SetBlocking, OfADescriptorThatIsNoneIsReported) {
  CapturedLog log;
  Utilities::setBlocking(true, -1);
  EXPECT_EQ(log.text(), "fcntl: Bad file descriptor\n");
}

TEST(NewFileHandle, OfMinusOneIsNoneAndTouchesNothing) {
  CapturedLog log;
  EXPECT_FALSE(Utilities::newFileHandleWithFileDescriptor(-1).has_value());
  EXPECT_EQ(log.text(), "");
}

TEST(NewFileHandle, MakesTheDescriptorBlocking) {
  const ObservedPipe pipe;
  Utilities::setBlocking(false, pipe.readingEnd.fileDescriptor());
  const auto handle = Utilities::newFileHandleWithFileDescriptor(pipe.readingEnd.fileDescriptor());
  EXPECT_EQ(handle.value().fileDescriptor(), pipe.readingEnd.fileDescriptor());
  EXPECT_TRUE(isBlocking(pipe.readingEnd.fileDescriptor()));
}

TEST(NewFileHandle, LeavesTheDescriptorOpenWhenItGoesAndClosesItWhenTold) {
  const int fileDescriptor = ::dup(STDIN_FILENO);
  { const auto handle = Utilities::newFileHandleWithFileDescriptor(fileDescriptor); }
  EXPECT_TRUE(isOpen(fileDescriptor));
  Utilities::newFileHandleWithFileDescriptor(fileDescriptor).value().close();
  EXPECT_FALSE(isOpen(fileDescriptor));
}

// Every wait is ended as soon as it has begun.
bool waitsUntilItCanWrite(int fileDescriptor) {
  const Interrupter interrupter([] { throw Interruption{}; });
  try {
    Utilities::waitUntilFileDescriptorCanWrite(fileDescriptor);
    return false;
  } catch (const Interruption&) {
    return true;
  }
}

TEST(WaitUntilCanWrite, WaitsWhileThereIsNoRoom) {
  ObservedPipe pipe;
  pipe.fill();
  EXPECT_TRUE(waitsUntilItCanWrite(pipe.writingEnd.fileDescriptor()));
}

TEST(WaitUntilCanWrite, ReturnsAtOnceWhenThereIsRoom) {
  const ObservedPipe pipe;
  EXPECT_FALSE(waitsUntilItCanWrite(pipe.writingEnd.fileDescriptor()));
}

TEST(WaitUntilCanWrite, WaitsForTheReader) {
  ObservedPipe pipe;
  pipe.fill();
  const pid_t reader = ::fork();
  if (reader == 0) {
    std::array<char, 65'536> bytes{};
    ::_exit(::read(pipe.readingEnd.fileDescriptor(), bytes.data(), bytes.size()) > 0 ? 0 : 1);
  }
  Utilities::waitUntilFileDescriptorCanWrite(pipe.writingEnd.fileDescriptor());
  EXPECT_EQ(::write(pipe.writingEnd.fileDescriptor(), "x", 1), 1);
  EXPECT_EQ(::waitpid(reader, nullptr, 0), reader);
}

TEST(WaitUntilCanWrite, ReturnsAtOnceFromAFullPipeWhoseReaderIsGone) {
  ObservedPipe pipe;
  pipe.fill();
  pipe.readingEnd.close();
  EXPECT_FALSE(waitsUntilItCanWrite(pipe.writingEnd.fileDescriptor()));
}

TEST(WaitUntilCanWrite, ReturnsAtOnceForADescriptorThatIsNone) {
  EXPECT_FALSE(waitsUntilItCanWrite(-1));
  EXPECT_FALSE(waitsUntilItCanWrite(999));
}

TEST(WaitUntilCanWrite, WorksBeyondTheCapacityOfADescriptorSet) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_cur <= 2000) GTEST_SKIP() << "no descriptor is that high here";
  const ObservedPipe pipe;
  const int high = ::fcntl(pipe.writingEnd.fileDescriptor(), F_DUPFD, 2000);
  Utilities::waitUntilFileDescriptorCanWrite(high);
  EXPECT_EQ(::write(high, "x", 1), 1);
  ::close(high);
}

}  // namespace
}  // namespace ztp::test
