// Signals in the run loop and during blocking waits.
#include "app/Interruption.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "app/SessionFailure.h"
#include "platform/ChildProcess.h"
#include "platform/RunLoop.h"
#include "platform/Signals.h"

namespace ztp::test {
namespace {

class SignalHandler : public InterruptHandler {
 public:
  [[nodiscard]] Descriptors descriptorsToWatch() const override {
    return {Interruption::terminationDescriptor(), -1};
  }
  void handleInterrupts() override { Interruption::raiseIfTerminated(); }
};

class InterruptionTest : public testing::Test {
 protected:
  InterruptionTest() { Signals::catchTermination(); }

  SignalHandler handler;
};

template <typename Step>
std::string reasonOf(const Step& step) {
  try {
    step();
  } catch (const SessionFailure& failure) {
    EXPECT_FALSE(failure.error || failure.exception || failure.userDidCancel);
    return failure.reason.value_or("");
  }
  return "none";
}

TEST_F(InterruptionTest, ASignalEndsTheRunLoop) {
  const Interruption interruption(handler);
  for (const auto& [number, name] : {std::pair{SIGTERM, "SIGTERM"}, std::pair{SIGINT, "SIGINT"},
                                     std::pair{SIGHUP, "SIGHUP"}, std::pair{SIGQUIT, "SIGQUIT"}}) {
    ::raise(number);
    EXPECT_EQ(reasonOf([] { RunLoop::main().run(); }), std::string("Terminated by signal ") + name);
  }
}

TEST_F(InterruptionTest, ASignalEndsABlockingWait) {
  const Interruption interruption(handler);
  ::raise(SIGTERM);
  EXPECT_EQ(reasonOf([] { BlockingWait::sleepFor(std::chrono::hours(1)); }),
            "Terminated by signal SIGTERM");
}

TEST_F(InterruptionTest, ASignalIsTakenOnce) {
  ::raise(SIGTERM);
  EXPECT_EQ(reasonOf(Interruption::raiseIfTerminated), "Terminated by signal SIGTERM");
  EXPECT_EQ(reasonOf(Interruption::raiseIfTerminated), "none");
}

TEST_F(InterruptionTest, ForgottenChildrenAreCollectedAsTheyExit) {
  const Interruption interruption(handler);
  pid_t pid = -1;
  {
    const auto child = ChildProcess::launch({"/bin/sleep", {"1000"}, {}}, {0, 1, 2});
    pid = child.processIdentifier();
  }
  EXPECT_EQ(::kill(pid, 0), 0);
  ::kill(pid, SIGKILL);
  while (::kill(pid, 0) == 0) RunLoop::main().runOnce();
}

}  // namespace
}  // namespace ztp::test
