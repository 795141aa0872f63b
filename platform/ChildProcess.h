// Child processes: real pipes, no inherited descriptor but three, reaped when they end, and gone
// when this process is gone.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace ztp {

/// A launched child. Destroying the object forgets the child without waiting for it: it is reaped
/// when it ends. The system kills it when this process ends. Move-only.
class ChildProcess {
 public:
  /// The child's descriptors 0, 1 and 2; borrowed for the launch.
  struct Streams {
    int standardInput;
    int standardOutput;
    int standardError;
  };
  /// What is started, and with what.
  struct Command {
    std::filesystem::path launchPath;
    std::vector<std::string> arguments;    // without the program's name
    std::vector<std::string> environment;  // "NAME=value"; all that the child gets
  };

  /// Starts it with default signal dispositions and an empty signal mask. Raises PlatformException
  /// when it cannot be started, a program that does not exist included.
  static ChildProcess launch(const Command& command, const Streams& streams);

  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  [[nodiscard]] pid_t processIdentifier() const noexcept { return pid_; }
  /// Sends SIGTERM; nothing when it has ended.
  void terminate() noexcept;
  /// Blocks until it has exited (see BlockingWait). When the wait is interrupted the child is
  /// killed and collected before this raises: it writes nothing into a directory that is removed
  /// next.
  void waitUntilExit();

  /// Collects every forgotten child that has exited.
  static void reapForgotten() noexcept;

 private:
  explicit ChildProcess(pid_t pid) noexcept : pid_(pid) {}
  void forget() noexcept;
  void kill() noexcept;

  pid_t pid_ = -1;
};

}  // namespace ztp
