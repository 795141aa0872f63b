// Keeps descriptors 0 to 2 what they were.
#include "platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace ztp {
namespace {

int flagsOfStandardError = -1;

}  // namespace

void StandardStreams::prepare() {
  for (int fileDescriptor = 0; fileDescriptor < 3; ++fileDescriptor) {
    // open returns the lowest free number.
    if (::fcntl(fileDescriptor, F_GETFD) == -1) static_cast<void>(::open("/dev/null", O_RDWR));
  }
  flagsOfStandardError = ::fcntl(STDERR_FILENO, F_GETFL);
}

void StandardStreams::restore() noexcept {
  if (flagsOfStandardError != -1) ::fcntl(STDERR_FILENO, F_SETFL, flagsOfStandardError);
}

}  // namespace ztp
