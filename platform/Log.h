// The log: lines on standard error, which the host, ssh and this program share.
//
// Rules for what is printed: one line at a time and one write a line; no prefix; error lines begin
// with "ERROR: "; failed system calls are reported as "call: reason"; an absent value prints as
// "(null)"; a secret never appears; text that came from the other side passes through
// `printable` first, so that it can neither forge a line nor drive a terminal.
#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

namespace ztp {

/// How an absent value prints.
inline constexpr std::string_view absentText = "(null)";

/// Writes `line` and a line feed. Waits while standard error is full (see BlockingWait) and gives
/// up silently when it cannot be written.
void logLine(std::string_view line);

/// Formats and writes one line.
template <typename... Arguments>
void log(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  logLine(fmt::format(format, std::forward<Arguments>(arguments)...));
}

/// Reports the failure that errno holds as "call: reason"; leaves errno as it was.
void logErrno(std::string_view call);

/// A text from outside, fit for a log line: control characters, what changes the direction of
/// writing or ends a line, and invalid UTF-8 are escaped as \xNN for each byte; what exceeds
/// `limit` bytes is cut and marked with "...".
std::string printable(std::string_view text, std::size_t limit = 4096);

}  // namespace ztp
