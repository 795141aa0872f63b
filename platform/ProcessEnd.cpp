// The real end.
#include "platform/ProcessEnd.h"

#include <cstdlib>

namespace ztp {

void endProcess(int status) {
  std::exit(status);
}

}  // namespace ztp
