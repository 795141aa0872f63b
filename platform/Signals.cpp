// Signal handlers that do nothing but write one byte into a pipe.
#include "platform/Signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

#include "platform/Error.h"

namespace ztp {
namespace {

constexpr std::array terminationSignals = {SIGTERM, SIGINT, SIGHUP, SIGQUIT};

// A pipe that a signal handler writes to, for as long as there are handlers: to the end of the
// process, beyond that of every object. Full means that a byte is waiting already.
class SignalPipe {
 public:
  SignalPipe() {
    if (::pipe(ends_.data()) != 0) throw PlatformException(Error::fromErrno("pipe"));
    for (const int end : ends_) {
      // A pipe that blocks would stop the run loop at its next look into it.
      if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0 || ::fcntl(end, F_SETFL, O_NONBLOCK) != 0) {
        throw PlatformException(Error::fromErrno("fcntl"));
      }
    }
  }
  [[nodiscard]] int readingEnd() const { return ends_[0]; }
  void put(unsigned char byte) const {
    while (::write(ends_[1], &byte, 1) < 0 && errno == EINTR) {
    }
  }
  [[nodiscard]] std::optional<int> take() const {
    unsigned char byte = 0;
    ssize_t count = 0;
    do {
      count = ::read(ends_[0], &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1 ? std::optional<int>(byte) : std::nullopt;
  }

 private:
  std::array<int, 2> ends_{-1, -1};
};

// Set before the handlers are installed; handlers may read nothing else.
std::atomic<const SignalPipe*> terminationPipe = nullptr;
std::atomic<const SignalPipe*> childPipe = nullptr;

void noteTermination(int signalNumber) {
  const int savedErrno = errno;
  terminationPipe.load()->put(static_cast<unsigned char>(signalNumber));
  errno = savedErrno;
}

void noteChildExit(int /*signalNumber*/) {
  const int savedErrno = errno;
  childPipe.load()->put(1);
  errno = savedErrno;
}

void install(int signalNumber, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  if (::sigaction(signalNumber, &action, nullptr) != 0) {
    throw PlatformException(Error::fromErrno("sigaction"));
  }
}

// Whoever started this process may want it to outlive a terminal: nohup(1).
bool isIgnored(int signalNumber) {
  struct sigaction action {};
  return ::sigaction(signalNumber, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void unblock(int signalNumber) {
  sigset_t set{};
  sigemptyset(&set);
  sigaddset(&set, signalNumber);
  ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace

void Signals::catchTermination() {
  static const SignalPipe pipe;
  terminationPipe = &pipe;
  for (const int signalNumber : terminationSignals) {
    if (isIgnored(signalNumber)) continue;
    install(signalNumber, noteTermination);
    unblock(signalNumber);
  }
  // A write that fails says so itself; these two would end the process before it can tidy up.
  install(SIGPIPE, SIG_IGN);
  install(SIGXFSZ, SIG_IGN);
}

int Signals::terminationDescriptor() {
  return terminationPipe.load()->readingEnd();
}

std::optional<int> Signals::takeTermination() {
  return terminationPipe.load()->take();
}

int Signals::childExitDescriptor() {
  static const SignalPipe pipe;
  if (childPipe.load() == nullptr) {
    childPipe = &pipe;
    install(SIGCHLD, noteChildExit);
    unblock(SIGCHLD);
  }
  return pipe.readingEnd();
}

void Signals::drainChildExits() {
  while (childPipe.load()->take()) {
  }
}

std::string_view Signals::name(int signalNumber) {
  switch (signalNumber) {
    case SIGTERM:
      return "SIGTERM";
    case SIGINT:
      return "SIGINT";
    case SIGHUP:
      return "SIGHUP";
    case SIGQUIT:
      return "SIGQUIT";
    default:
      return "signal";
  }
}

}  // namespace ztp
