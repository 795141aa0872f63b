// What a sweep over many days or instants found to differ from its second source. A sweep compares
// millions of values, so a difference is noted instead of failing at once: the first few are
// printed.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

namespace ztp::test {

/// Collects differences and turns them into one assertion. Every comparison is counted, so that a
/// sweep which for some reason compared too little fails as well.
class Disagreements {
 public:
  /// Counts one comparison. `describe` makes the line for a difference and is only then called.
  template <typename Describe>
  void compare(bool same, Describe&& describe) {
    ++compared_;
    if (same) return;
    ++found_;
    if (found_ <= mostPrinted) text_ += std::forward<Describe>(describe)() + "\n";
  }

  /// Success when nothing differed and at least `expected` comparisons were made.
  [[nodiscard]] testing::AssertionResult noneAmong(std::size_t expected) const {
    if (compared_ < expected) {
      return testing::AssertionFailure() << "only " << compared_ << " comparisons were made";
    }
    if (found_ == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << found_ << " of " << compared_ << " comparisons differ, first:\n"
           << text_;
  }

 private:
  static constexpr std::size_t mostPrinted = 10;
  std::size_t compared_ = 0;
  std::size_t found_ = 0;
  std::string text_;
};

}  // namespace ztp::test
