// Children by fork and exec: between the two they get their three descriptors, default signals and
// the promise to die with their parent, which posix_spawn does not offer.
#include "platform/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Pipe.h"
#include "platform/Signals.h"
#include "platform/System.h"

namespace ztp {
namespace {

// A child whose exit was not announced, for whatever reason, is found all the same.
constexpr std::chrono::milliseconds recheckInterval{1000};

// Children whose objects are gone and that have not been collected.
std::vector<pid_t> forgottenChildren;

bool hasExited(pid_t pid) {
  pid_t result = 0;
  do {
    result = ::waitpid(pid, nullptr, WNOHANG);
  } while (result < 0 && errno == EINTR);
  return result != 0;  // collected just now, or no child of ours any more
}

std::vector<char*> nullTerminated(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Everything the child needs, made before the fork: after it only async-signal-safe calls follow.
struct Plan {
  explicit Plan(const ChildProcess::Command& command, const ChildProcess::Streams& childStreams)
      : launchPath(command.launchPath),
        arguments(command.arguments),
        environment(command.environment),
        streams{childStreams.standardInput, childStreams.standardOutput,
                childStreams.standardError} {
    arguments.insert(arguments.begin(), launchPath);
    argumentPointers = nullTerminated(arguments);
    environmentPointers = nullTerminated(environment);
  }

  std::string launchPath;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::vector<char*> argumentPointers;
  std::vector<char*> environmentPointers;
  std::array<int, 3> streams;
  int parent = static_cast<int>(::getpid());
};

// What was to survive the end of a terminal (nohup) does so with its children. SIGTERM must end
// them.
bool staysIgnored(int number) noexcept {
  if (number != SIGHUP && number != SIGINT && number != SIGQUIT) return false;
  struct sigaction action {};
  return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void resetSignals() noexcept {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  for (int number = 1; number < 32; ++number) {
    if (number == SIGKILL || number == SIGSTOP || staysIgnored(number)) continue;
    ::sigaction(number, &action, nullptr);
  }
  ::sigprocmask(SIG_SETMASK, &action.sa_mask, nullptr);
}

// The streams of the plan are never 0 to 2 themselves unless in their own place (StandardStreams
// keeps those three taken), so no dup2 overwrites one that is still needed.
bool connectStreams(const std::array<int, 3>& streams) noexcept {
  for (int target = 0; target < 3; ++target) {
    const int source = streams[static_cast<std::size_t>(target)];
    if (source != target && ::dup2(source, target) < 0) return false;
  }
  return true;
}

[[noreturn]] void becomeChild(const Plan& plan, int errorPipe) noexcept {
  system::dieWithParent(plan.parent);
  resetSignals();
  if (connectStreams(plan.streams)) {
    system::closeOnExecAbove(2);
    ::execve(plan.launchPath.c_str(), plan.argumentPointers.data(),
             plan.environmentPointers.data());
  }
  const int errorNumber = errno;
  static_cast<void>(!::write(errorPipe, &errorNumber, sizeof errorNumber));
  ::_exit(127);
}

// What comes out of the pipe, whose writing end exec closes, is the reason why exec failed; 0 when
// it worked.
int errorNumberOfExec(Pipe& pipe) {
  pipe.writingEnd.close();
  int errorNumber = 0;
  ssize_t count = 0;
  do {
    count = ::read(pipe.readingEnd.fileDescriptor(), &errorNumber, sizeof errorNumber);
  } while (count < 0 && errno == EINTR);
  return count == sizeof errorNumber ? errorNumber : 0;
}

void waitBlockingly(pid_t pid) noexcept {
  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

ChildProcess ChildProcess::launch(const Command& command, const Streams& streams) {
  static_cast<void>(Signals::childExitDescriptor());
  const Plan plan(command, streams);
  forgottenChildren.reserve(forgottenChildren.size() + 1);  // forgetting one must not fail
  Pipe errorPipe = Pipe::create();
  const pid_t pid = ::fork();
  if (pid < 0) throw PlatformException(Error::fromErrno("fork"));
  if (pid == 0) becomeChild(plan, errorPipe.writingEnd.fileDescriptor());
  if (const int errorNumber = errorNumberOfExec(errorPipe)) {
    waitBlockingly(pid);
    throw PlatformException(
        Error::fromErrorNumber("Could not launch " + plan.launchPath, errorNumber));
  }
  return ChildProcess(pid);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  if (this != &other) {
    forget();
    pid_ = std::exchange(other.pid_, -1);
  }
  return *this;
}

ChildProcess::~ChildProcess() {
  forget();
}

void ChildProcess::forget() noexcept {
  if (pid_ == -1) return;
  forgottenChildren.push_back(std::exchange(pid_, -1));
  reapForgotten();
}

void ChildProcess::terminate() noexcept {
  if (pid_ != -1) ::kill(pid_, SIGTERM);
}

void ChildProcess::waitUntilExit() {
  try {
    while (!hasExited(pid_)) {
      if (BlockingWait::untilReadable(Signals::childExitDescriptor(), recheckInterval) ==
          BlockingWait::Outcome::expired) {
        waitBlockingly(pid_);  // nothing interrupts any more
      }
      Signals::drainChildExits();
    }
  } catch (...) {
    kill();
    throw;
  }
  pid_ = -1;
  reapForgotten();
}

void ChildProcess::kill() noexcept {
  ::kill(pid_, SIGKILL);
  waitBlockingly(std::exchange(pid_, -1));
}

void ChildProcess::reapForgotten() noexcept {
  std::erase_if(forgottenChildren, hasExited);
}

}  // namespace ztp
