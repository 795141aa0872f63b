// What the main thread still attends to while it is blocked.
//
// Two things block the one thread there is: a write into a pipe that nobody empties (ssh's, the
// host's, the log's), and a child that is run to its end. The run loop does not turn then, but a
// signal, a cancel from the host and the host's death must still end the program. Every blocking
// wait therefore goes through here, and the session registers itself as the attendant who is called
// while a wait lasts.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

namespace ztp {

/// Called while the main thread is blocked. `attend` may end the process; it must not wait itself.
class Attendant {
 public:
  virtual ~Attendant() = default;
  /// Descriptors whose readability makes `attend` be called at once.
  [[nodiscard]] virtual std::vector<int> descriptorsToWatch() const = 0;
  /// Called when one of them is readable, and at least every 100 ms.
  virtual void attend() = 0;
  /// When every wait gives up; absent: a wait lasts as long as it takes.
  [[nodiscard]] virtual std::optional<std::chrono::steady_clock::time_point> deadline() const = 0;
};

/// The blocking waits. All of them survive interruptions by signals.
class BlockingWait {
 public:
  BlockingWait() = delete;

  /// How a wait ended: as it should, or because the attendant's deadline has passed.
  enum class Outcome { ready, expired };

  /// Who is called during waits from now on; a null pointer for nobody. Not owned.
  static void setAttendant(Attendant* attendant);

  /// Waits until a write to the descriptor would not block (or would fail), or the attendant's
  /// deadline has passed.
  [[nodiscard]] static Outcome untilWritable(int fileDescriptor);
  /// The same for reading.
  [[nodiscard]] static Outcome untilReadable(int fileDescriptor);
  /// The same for that time at most, which then counts as ready: the caller looks for itself.
  [[nodiscard]] static Outcome untilReadable(int fileDescriptor, std::chrono::milliseconds atMost);
  /// Waits for the given time, less when the deadline comes first.
  static void sleepFor(std::chrono::milliseconds duration);
  /// Does not wait at all: lets the attendant act if one of its descriptors is readable. Long
  /// computations call this every few milliseconds.
  static void glance();
};

}  // namespace ztp
