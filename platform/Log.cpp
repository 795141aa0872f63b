// Writes log lines to standard error, whatever state ssh or the host left that descriptor in.
#include "platform/Log.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/Text.h"

namespace ztp {
namespace {

// ssh may have made the shared descriptor non-blocking: then a full pipe is waited for here.
void writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      if (BlockingWait::untilWritable(STDERR_FILENO) == BlockingWait::Outcome::expired) return;
    } else if (errno != EINTR) {
      return;
    }
  }
}

void appendEscaped(std::string& result, std::string_view bytes) {
  for (const char byte : bytes) {
    fmt::format_to(std::back_inserter(result), "\\x{:02x}", static_cast<unsigned char>(byte));
  }
}

bool isControl(std::string_view character) {
  return character.size() == 1 &&
         (static_cast<unsigned char>(character[0]) < 0x20 || character[0] == 0x7f);
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
    if (length == 0 || isControl(character)) {
      appendEscaped(result, character);
    } else {
      result += character;
    }
    text.remove_prefix(character.size());
  }
  return result;
}

}  // namespace ztp
