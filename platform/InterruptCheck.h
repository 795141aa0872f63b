// How long-running work on files lets a signal act.
#pragma once

#include <functional>

namespace ztp {

/// Called for every entry of a tree and every piece of a file. It may end the work by raising.
using InterruptCheck = std::function<void()>;

}  // namespace ztp
