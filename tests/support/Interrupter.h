// Makes a call whenever something could interrupt the main thread: in waits and in long work.
#pragma once

#include <functional>
#include <utility>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"

namespace ztp::test {

/// Raised by a call that ends the work.
struct Interruption {};

/// While this lives, long work makes the call whenever it looks whether anything else wants
/// attention.
class Interrupter : public InterruptHandler {
 public:
  explicit Interrupter(std::function<void()> call) : call_(std::move(call)) {}

  [[nodiscard]] Descriptors descriptorsToWatch() const override {
    return {alwaysReadable_.fileDescriptor(), -1};
  }
  void handleInterrupts() override { call_(); }

 private:
  FileHandle alwaysReadable_ = FileHandle::forReadingAtPath("/dev/zero").value();
  std::function<void()> call_;
  BlockingWait::Registration registration_{*this};
};

}  // namespace ztp::test
