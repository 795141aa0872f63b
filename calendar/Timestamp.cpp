// Timestamp: the system's clock.
#include "calendar/Timestamp.h"

#include <chrono>

namespace ztp {

Timestamp Timestamp::now() {
  const std::chrono::duration<double> sinceUnixEpoch =
      std::chrono::system_clock::now().time_since_epoch();
  return fromUnixSeconds(sinceUnixEpoch.count());
}

}  // namespace ztp
