// Pipes for the writer's tests.
#include "Pipe.h"

#include <array>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "platform/Data.h"
#include "util/ZanburyToolProxyUtilities.h"

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
  const bool wasNonBlocking = isNonBlocking();
  ZanburyToolProxyUtilities::setBlocking(false, writeEnd.fileDescriptor());
  std::size_t count = 0;
  while (::write(writeEnd.fileDescriptor(), "-", 1) == 1) ++count;
  ZanburyToolProxyUtilities::setBlocking(!wasNonBlocking, writeEnd.fileDescriptor());
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
