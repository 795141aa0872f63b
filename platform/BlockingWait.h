// What still acts while the one thread is blocked.
//
// Two things block it: a write into a pipe that nobody empties (ssh's, the host's, the log's), and
// a child that is run to its end. The run loop does not turn then, but a signal, a cancel from the
// host and the host's death must still end the session. Every blocking wait therefore goes through
// here, and the session registers a handler that is called while a wait lasts. It ends the session
// by raising: the wait and all that has called it unwind.
#pragma once

#include <array>
#include <chrono>
#include <optional>

namespace ztp {

/// Called while the main thread is blocked.
class InterruptHandler {
 public:
  virtual ~InterruptHandler() = default;
  /// -1 stands for none.
  using Descriptors = std::array<int, 2>;
  /// Descriptors whose readability makes `handleInterrupts` be called at once.
  [[nodiscard]] virtual Descriptors descriptorsToWatch() const = 0;
  /// Called when one of them is readable, and at least every 100 ms. It must not wait itself. What
  /// it raises ends whatever was waiting; it is not a std::exception, which the callers of that
  /// would take for a failure of their own.
  virtual void handleInterrupts() = 0;
};

/// The blocking waits. All of them survive interruptions by signals, and none of them allocates.
///
/// While the stack unwinds nothing interrupts a wait, and none lasts longer than a second: it may
/// be a destructor's.
class BlockingWait {
 public:
  using Clock = std::chrono::steady_clock;

  BlockingWait() = delete;

  /// How a wait ended: as it should, or because the deadline has passed.
  enum class Outcome { ready, expired };

  /// The handler is called during waits while this object lives. One at a time; the handler
  /// outlives it.
  class Registration {
   public:
    explicit Registration(InterruptHandler& handler) noexcept;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration();
  };

  /// When every wait gives up from now on; absent: a wait lasts as long as it takes. With a
  /// deadline nothing interrupts a wait any more: the process is about to end. Returns what held
  /// before.
  static std::optional<Clock::time_point> setDeadline(std::optional<Clock::time_point> deadline);
  [[nodiscard]] static std::optional<Clock::time_point> deadline() noexcept;

  /// Waits until a write to the descriptor would not block (or would fail), or the deadline has
  /// passed.
  [[nodiscard]] static Outcome untilWritable(int fileDescriptor);
  /// The same for reading.
  [[nodiscard]] static Outcome untilReadable(int fileDescriptor);
  /// The same for that time at most, which then counts as ready: the caller looks for itself.
  [[nodiscard]] static Outcome untilReadable(int fileDescriptor, std::chrono::milliseconds atMost);
  /// Waits for the given time, less when the deadline comes first.
  static void sleepFor(std::chrono::milliseconds duration);
  /// Does not wait at all: lets the handler act if one of its descriptors is readable. Long
  /// computations call this every few milliseconds.
  static void checkInterrupts();
};

}  // namespace ztp
