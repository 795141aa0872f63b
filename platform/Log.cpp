// Writes log lines to standard error, whatever state ssh or the host left that descriptor in.
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/Text.h"

namespace ztp {
namespace {

// A file takes any text at once, so that nobody else's line comes between its parts. A pipe with
// room takes PIPE_BUF bytes without blocking.
std::size_t takenAtOnce() {
  struct stat status {};
  const bool isFile = ::fstat(STDERR_FILENO, &status) == 0 && S_ISREG(status.st_mode);
  return isFile ? SIZE_MAX : PIPE_BUF;
}

// A full pipe is waited for before the write: the descriptor may block or, where ssh has made it
// so, not.
void writeAll(std::string_view text) {
  const std::size_t atOnce = takenAtOnce();
  while (!text.empty()) {
    if (BlockingWait::untilWritable(STDERR_FILENO) == BlockingWait::Outcome::expired) return;
    const ssize_t written =
        ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), atOnce));
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EAGAIN && errno != EINTR) {
      return;
    }
  }
}

void appendEscaped(std::string& result, std::string_view bytes) {
  for (const char byte : bytes) {
    fmt::format_to(std::back_inserter(result), "\\x{:02x}", static_cast<unsigned char>(byte));
  }
}

struct CharacterRange {
  std::string_view first;
  std::string_view last;
};

// What moves a terminal's cursor, changes the direction of writing or ends a line: the control
// characters, the line and paragraph separators, and the embeddings and isolates. Well-formed UTF-8
// sorts by its bytes as its characters do.
constexpr std::array<CharacterRange, 5> unfit = {{{std::string_view("\0", 1), "\x1f"},
                                                  {"\x7f", "\u009f"},
                                                  {"\u2028", "\u202e"},
                                                  {"\u2066", "\u2069"},
                                                  {"\u200e", "\u200f"}}};

bool isUnfit(std::string_view character) {
  return std::any_of(unfit.begin(), unfit.end(), [&](const CharacterRange& range) {
    return range.first <= character && character <= range.last;
  });
}

}  // namespace

void logLine(std::string_view line) {
  std::string text(line);
  text += '\n';
  writeAll(text);
}

void logErrno(std::string_view call) {
  const int errorNumber = errno;
  log("{}: {}", call, std::generic_category().message(errorNumber));
  errno = errorNumber;
}

std::string printable(std::string_view text) {
  std::string result;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t length = utf8SequenceLength(rest);
    const std::string_view character = rest.substr(0, length == 0 ? 1 : length);
    rest.remove_prefix(character.size());
    if (text.size() - rest.size() > longestPrintable) return result + "...";
    if (character == "\n") {
      result += "\n    ";
    } else if (length == 0 || isUnfit(character)) {
      appendEscaped(result, character);
    } else {
      result += character;
    }
  }
  return result;
}

}  // namespace ztp
