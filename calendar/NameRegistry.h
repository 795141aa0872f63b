// NameRegistry: names of holidays, each kept once and as long as the process, so that a name that a
// calendar has handed out never dangles. Not installed.
#pragma once

#include <string_view>

namespace ztp {

/// The same text, kept. Safe from any thread.
std::string_view keptName(std::string_view name);

}  // namespace ztp
