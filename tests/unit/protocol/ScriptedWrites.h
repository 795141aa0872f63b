// write(2) as the tests want it: errors that a real stream gives only by chance.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace ztp::test {

/// While this object lives, each write to the descriptor takes the next number of the script: an
/// errno to fail with, or `goesThrough`; without numbers left they all go through. One at a time.
class ScriptedWrites {
 public:
  static constexpr int goesThrough = 0;

  explicit ScriptedWrites(int fileDescriptor, std::deque<int> script = {});
  ScriptedWrites(const ScriptedWrites&) = delete;
  ScriptedWrites& operator=(const ScriptedWrites&) = delete;
  ~ScriptedWrites();

  /// How many bytes each call so far offered, the failed ones included.
  [[nodiscard]] const std::vector<std::size_t>& offered() const { return offered_; }

  /// The errno that this write fails with; goesThrough for none. For the stand-in of write(2).
  static int verdictOn(int fileDescriptor, std::size_t size);

 private:
  int fileDescriptor_;
  std::deque<int> script_;
  std::vector<std::size_t> offered_;
};

}  // namespace ztp::test
