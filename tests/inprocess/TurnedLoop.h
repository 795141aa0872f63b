// A run loop that turns only when it is told to, and whose time passes only when it is told to: the
// platform's timers, watchers and delayed performs register with it in place of the real one.
#pragma once

#include <functional>
#include <memory>

namespace ztp::test {

/// The one loop of a test's process.
class TurnedLoop {
 public:
  TurnedLoop() = delete;

  /// What is registered. It is called while it is open, whenever it is due.
  struct Item {
    std::function<void()> callback;
    int fileDescriptor = -1;  // -1: due in every turn
    short events = 0;
    bool isTimer = false;
    bool isOpen = true;
  };

  static void add(std::shared_ptr<Item> item);
  static void close(Item& item);

  /// Calls everything that is due now, timers excepted; false when nothing was.
  static bool turn();
  /// Lets the interval of every timer pass once.
  static void passTime();
  /// How many things are registered.
  static std::size_t count();
};

}  // namespace ztp::test
