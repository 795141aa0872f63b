// pipe(2), and flags for as long as it is filled.
#include "tests/support/Pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "platform/Data.h"

namespace ztp::test {
namespace {

std::array<int, 2> openPipe() {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  std::array<int, 2> descriptors{};
  if (::pipe(descriptors.data()) != 0) throw std::runtime_error("pipe");
  return descriptors;
}

}  // namespace

Pipe::Pipe() : Pipe(openPipe()) {}

Pipe::Pipe(const std::array<int, 2>& descriptors)
    : readEnd(descriptors[0]), writeEnd(descriptors[1]) {}

std::size_t Pipe::fill() {
  const int flags = ::fcntl(writeEnd.fileDescriptor(), F_GETFL);
  ::fcntl(writeEnd.fileDescriptor(), F_SETFL, flags | O_NONBLOCK);
  std::size_t count = 0;
  while (::write(writeEnd.fileDescriptor(), "-", 1) == 1) ++count;
  ::fcntl(writeEnd.fileDescriptor(), F_SETFL, flags);
  return count;
}

std::string Pipe::drain() {
  std::string text;
  for (Data part = readEnd.availableData(); !part.empty(); part = readEnd.availableData()) {
    text += textOf(part);
  }
  return text;
}

bool Pipe::isNonBlocking() const {
  return (::fcntl(writeEnd.fileDescriptor(), F_GETFL) & O_NONBLOCK) != 0;
}

}  // namespace ztp::test
