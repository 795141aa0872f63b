// The log: lines on standard error, which the host, ssh and this program share.
//
// Rules for what is printed: one line at a time and one write a line, as long as the pipe takes it;
// no prefix; error lines begin with "ERROR: "; failed system calls are reported as "call: reason";
// an absent value prints as "(null)"; a secret never appears; text that came from the other side
// passes through `printable` first, so that it can neither forge a line nor drive a terminal. Only
// such text has more than one line: those after the first begin with four blanks.
#pragma once

#include <cstddef>
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

/// The most bytes that are printed of a text from outside.
inline constexpr std::size_t longestPrintable = 100'000;

/// A text from outside, fit for the log: a line feed starts a new line that is indented by four
/// blanks, as no line of this program is; other control characters, what changes the direction of
/// writing or ends a line, and invalid UTF-8 are escaped as \xNN for each byte. Where there are
/// more than `longestPrintable` bytes, "..." stands for the rest.
std::string printable(std::string_view text);

}  // namespace ztp
