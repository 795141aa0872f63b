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
#include "tests/unit/util/CapturedLog.h"
#include "tests/unit/util/Interrupter.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe(ends_.data()), 0); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    for (const int end : ends_) ::close(end);
  }
  [[nodiscard]] int readingEnd() const { return ends_[0]; }
  [[nodiscard]] int writingEnd() const { return ends_[1]; }

 private:
  std::array<int, 2> ends_{-1, -1};
};

bool isBlocking(int fileDescriptor) {
  return (::fcntl(fileDescriptor, F_GETFL) & O_NONBLOCK) == 0;
}
bool isOpen(int fileDescriptor) {
  return ::fcntl(fileDescriptor, F_GETFD) != -1;
}

TEST(SetBlocking, SwitchesThereAndBackAndKeepsTheOtherFlags) {
  const Pipe pipe;
  ::fcntl(pipe.writingEnd(), F_SETFL, O_APPEND);
  Utilities::setBlocking(false, pipe.writingEnd());
  EXPECT_FALSE(isBlocking(pipe.writingEnd()));
  Utilities::setBlocking(true, pipe.writingEnd());
  EXPECT_TRUE(isBlocking(pipe.writingEnd()));
  EXPECT_NE(::fcntl(pipe.writingEnd(), F_GETFL) & O_APPEND, 0);
}

// Flags of a descriptor that only names a place (O_PATH) can be read, but to set them fails.
TEST(SetBlocking, InTheWantedModeSetsNothing) {
  const int fileDescriptor = ::open("/", O_PATH | O_CLOEXEC);
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
  const Pipe pipe;
  Utilities::setBlocking(false, pipe.readingEnd());
  const auto handle = Utilities::newFileHandleWithFileDescriptor(pipe.readingEnd());
  EXPECT_EQ(handle.value().fileDescriptor(), pipe.readingEnd());
  EXPECT_TRUE(isBlocking(pipe.readingEnd()));
}

TEST(NewFileHandle, LeavesTheDescriptorOpenWhenItGoesAndClosesItWhenTold) {
  const int fileDescriptor = ::dup(STDIN_FILENO);
  { const auto handle = Utilities::newFileHandleWithFileDescriptor(fileDescriptor); }
  EXPECT_TRUE(isOpen(fileDescriptor));
  Utilities::newFileHandleWithFileDescriptor(fileDescriptor).value().close();
  EXPECT_FALSE(isOpen(fileDescriptor));
}

void fill(int fileDescriptor) {
  Utilities::setBlocking(false, fileDescriptor);
  const std::array<char, 4096> zeros{};
  while (::write(fileDescriptor, zeros.data(), zeros.size()) > 0) {
  }
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
  const Pipe pipe;
  fill(pipe.writingEnd());
  EXPECT_TRUE(waitsUntilItCanWrite(pipe.writingEnd()));
}

TEST(WaitUntilCanWrite, ReturnsAtOnceWhenThereIsRoom) {
  const Pipe pipe;
  EXPECT_FALSE(waitsUntilItCanWrite(pipe.writingEnd()));
}

TEST(WaitUntilCanWrite, WaitsForTheReader) {
  const Pipe pipe;
  fill(pipe.writingEnd());
  const pid_t reader = ::fork();
  if (reader == 0) {
    std::array<char, 65'536> bytes{};
    ::_exit(::read(pipe.readingEnd(), bytes.data(), bytes.size()) > 0 ? 0 : 1);
  }
  Utilities::waitUntilFileDescriptorCanWrite(pipe.writingEnd());
  EXPECT_EQ(::write(pipe.writingEnd(), "x", 1), 1);
  EXPECT_EQ(::waitpid(reader, nullptr, 0), reader);
}

TEST(WaitUntilCanWrite, ReturnsAtOnceFromAFullPipeWhoseReaderIsGone) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  fill(ends[1]);
  ::close(ends[0]);
  EXPECT_FALSE(waitsUntilItCanWrite(ends[1]));
  ::close(ends[1]);
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
  const Pipe pipe;
  const int high = ::fcntl(pipe.writingEnd(), F_DUPFD, 2000);
  Utilities::waitUntilFileDescriptorCanWrite(high);
  EXPECT_EQ(::write(high, "x", 1), 1);
  ::close(high);
}

}  // namespace
}  // namespace ztp::test
