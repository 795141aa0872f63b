// Stands in for platform/ProcessEnd.cpp.
#include "tests/inprocess/ProcessEnd.h"

#include "platform/ProcessEnd.h"

namespace ztp {

void endProcess(int status) {
  throw test::ProcessEnded{status};
}

}  // namespace ztp
