// The platform's pipe as small as pipes are where nobody enlarges them.
#include "tests/support/ObservedPipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "platform/Data.h"

namespace ztp::test {

ObservedPipe::ObservedPipe() : Pipe(Pipe::create()) {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
#ifdef F_SETPIPE_SZ
  constexpr int usualCapacity = 65'536;
  ::fcntl(writingEnd.fileDescriptor(), F_SETPIPE_SZ, usualCapacity);
#endif
}

std::size_t ObservedPipe::fill() {
  const int flags = ::fcntl(writingEnd.fileDescriptor(), F_GETFL);
  ::fcntl(writingEnd.fileDescriptor(), F_SETFL, flags | O_NONBLOCK);
  std::size_t count = 0;
  while (::write(writingEnd.fileDescriptor(), "-", 1) == 1) ++count;
  ::fcntl(writingEnd.fileDescriptor(), F_SETFL, flags);
  return count;
}

std::string ObservedPipe::drain() {
  std::string text;
  for (Data part = readingEnd.availableData(); !part.empty(); part = readingEnd.availableData()) {
    text += textOf(part);
  }
  return text;
}

bool ObservedPipe::isNonBlocking() const {
  return (::fcntl(writingEnd.fileDescriptor(), F_GETFL) & O_NONBLOCK) != 0;
}

}  // namespace ztp::test
