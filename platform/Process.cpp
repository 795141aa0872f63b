// A signal that is none asks whether there is anybody to receive one.
#include "platform/Process.h"

#include <cerrno>
#include <csignal>

namespace ztp {

bool isProcessGone(std::int64_t processIdentifier) noexcept {
  return ::kill(static_cast<pid_t>(processIdentifier), 0) != 0 && errno == ESRCH;
}

}  // namespace ztp
