// Writes log lines to standard error, whatever state ssh or the host left that descriptor in.
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/Text.h"

namespace ztp {
namespace {

// A full pipe is waited for before the write: the descriptor may block or, where ssh has made it
// so, not. A pipe with room takes PIPE_BUF bytes without blocking.
void writeAll(std::string_view text) {
  while (!text.empty()) {
    if (BlockingWait::untilWritable(STDERR_FILENO) == BlockingWait::Outcome::expired) return;
    const ssize_t written =
        ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
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

std::string printable(std::string_view text, std::size_t limit) {
  std::string result;
  while (!text.empty()) {
    if (result.size() >= limit) return result + "...";
    const std::size_t length = utf8SequenceLength(text);
    const std::string_view character = text.substr(0, length == 0 ? 1 : length);
    if (length == 0 || isUnfit(character)) {
      appendEscaped(result, character);
    } else {
      result += character;
    }
    text.remove_prefix(character.size());
  }
  return result;
}

}  // namespace ztp
