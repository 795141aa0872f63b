// ErrorLog: the calendar library's one way of speaking to an operator. Standard error, no prefix
// but the "ERROR: " of the line itself, one write a line. Not installed.
#pragma once

#include <string_view>

namespace ztp {

/// Writes the line and a line feed in a single write, so that lines of several threads stay whole.
void logErrorLine(std::string_view line);

}  // namespace ztp
