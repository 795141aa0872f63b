// The end of the process, on its way to main.
#pragma once

namespace ztp {

/// Raised where a session is over; main returns the status. On the way there every destructor takes
/// away what its object owns. It is no std::exception: whoever handles failures does not handle
/// this.
struct ProcessEnded {
  int status = 0;
};

}  // namespace ztp
