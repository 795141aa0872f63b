// Log lines, and what is done to text from strangers.
#include "platform/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <thread>

#include "platform/Data.h"
#include "platform/Pipe.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using std::literals::operator""sv;

// Standard error goes into a pipe while this lives.
class Captured {
 public:
  Captured() : saved_(::dup(STDERR_FILENO)) {
    ::dup2(pipe_.writingEnd.fileDescriptor(), STDERR_FILENO);
  }
  ~Captured() { restore(); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  void restore() {
    if (saved_ == -1) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
    saved_ = -1;
    pipe_.writingEnd.close();
  }
  Pipe& pipe() { return pipe_; }
  std::string text() { return std::string(textOf(pipe_.readingEnd.availableData())); }

 private:
  Pipe pipe_ = Pipe::create();
  int saved_;
};

TEST(Log, WritesOneLine) {
  Captured captured;
  log("ERROR: Only wrote {} of {} bytes", 3, 5);
  EXPECT_EQ(captured.text(), "ERROR: Only wrote 3 of 5 bytes\n");
}

TEST(Log, ReportsSystemCallsLikePerrorAndKeepsErrno) {
  Captured captured;
  errno = ENOENT;
  logErrno("open(readFifoPath)");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(captured.text(), "open(readFifoPath): No such file or directory\n");
}

TEST(Log, WaitsForRoomInANonBlockingPipe) {
  Captured captured;
  ::fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
  std::string received;
  std::thread reader([&] {
    const Data data = captured.pipe().readingEnd.readDataOfLength(2'000'001);
    received = textOf(data);
  });
  logLine(std::string(2'000'000, 'x'));
  captured.restore();
  reader.join();
  EXPECT_EQ(received, std::string(2'000'000, 'x') + "\n");
}

struct PrintableCase {
  std::string_view text;
  std::string_view expected;
};

constexpr PrintableCase printables[] = {{"plain text"sv, "plain text"sv},
                                        {"two\nlines"sv, "two\n    lines"sv},
                                        {"three\n\n lines"sv, "three\n    \n     lines"sv},
                                        {"two\r\nlines"sv, "two\\x0d\n    lines"sv},
                                        {"\x1b[31mred"sv, "\\x1b[31mred"sv},
                                        {"a\0b\x7f"sv, "a\\x00b\\x7f"sv},
                                        {"gr\u00fc\u00df"sv, "gr\u00fc\u00df"sv},
                                        {"\u009b2J"sv, "\\xc2\\x9b2J"sv},
                                        {"\u202etxt"sv, "\\xe2\\x80\\xaetxt"sv},
                                        {"\u2028"sv, "\\xe2\\x80\\xa8"sv},
                                        {"\xff\xc3"sv, "\\xff\\xc3"sv}};

TEST(Log, EscapesWhatCouldForgeALineOrDriveATerminal) {
  for (const auto& [text, expected] : printables) EXPECT_EQ(printable(text), expected);
}

TEST(Log, CutsOnlyTextOfMoreThanAHundredThousandBytes) {
  const std::string longest(100'000, 'x');
  EXPECT_EQ(printable(longest), longest);
  EXPECT_EQ(printable(longest + "y"), longest + "...");
  const std::string escaped = printable(std::string(100'000, '\x01'));
  EXPECT_EQ(escaped.size(), 400'000U);
  EXPECT_TRUE(escaped.ends_with("\\x01"));
  EXPECT_EQ(printable(longest.substr(1) + "\u00fc"), longest.substr(1) + "...")
      << "no part of a character";
}

// How many times this process has called write(2) and its like (proc(5)).
std::size_t writesSoFar() {
  std::ifstream counts("/proc/self/io");
  for (std::string word; counts >> word;) {
    std::size_t count = 0;
    if (word == "syscw:" && counts >> count) return count;
  }
  return 0;
}

TEST(Log, WritesALineOfAnyLengthIntoAFileAtOnce) {
  const ScratchDirectory scratch;
  const int file = ::open((scratch / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  const int saved = ::dup(STDERR_FILENO);
  ::dup2(file, STDERR_FILENO);
  const std::size_t before = writesSoFar();
  logLine(std::string(200'000, 'x'));
  const std::size_t after = writesSoFar();
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  ::close(file);
  EXPECT_GT(before, 0U);
  EXPECT_GT(after, before);
  // A sanitizer adds a few writes of its own; pieces that fit a pipe would be fifty.
  EXPECT_LT(after, before + 10);
  EXPECT_EQ(contentOf(scratch / "log"), std::string(200'000, 'x') + "\n");
}

}  // namespace
}  // namespace ztp::test
