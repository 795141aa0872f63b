// What acts while long work goes on in the main thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"

namespace ztp::test {

/// Raised by a call that ends the work.
struct Interruption {};

/// While this lives, long work makes the call whenever it looks whether anything else wants
/// attention.
class Interrupter : public Attendant {
 public:
  explicit Interrupter(std::function<void()> call) : call_(std::move(call)) {
    BlockingWait::setAttendant(this);
  }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;
  ~Interrupter() override { BlockingWait::setAttendant(nullptr); }

  [[nodiscard]] std::vector<int> descriptorsToWatch() const override {
    return {alwaysReadable_.fileDescriptor()};
  }
  void attend() override { call_(); }
  [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> deadline() const override {
    return std::nullopt;
  }

 private:
  FileHandle alwaysReadable_ = FileHandle::forReadingAtPath("/dev/zero").value();
  std::function<void()> call_;
};

}  // namespace ztp::test
