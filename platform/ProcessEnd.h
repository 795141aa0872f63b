// Where the process ends. A unit of its own, so that a test can play many sessions in one process.
#pragma once

namespace ztp {

/// Ends the process with this status after what was registered for its exit has run.
[[noreturn]] void endProcess(int status);

}  // namespace ztp
