// ErrorLog: the calendar library's one way of speaking to an operator: the handler that the program
// has set (ErrorHandler.h), else standard error, no prefix but the "ERROR: " of the line itself,
// one write a line. Not installed.
#pragma once

#include <string_view>

namespace ztp {

/// Hands the line on, or writes it and a line feed in a single write, so that lines of several
/// threads stay whole.
void logErrorLine(std::string_view line);

}  // namespace ztp
