// Both kinds of news come as descriptors that can be read.
#include "app/Interruption.h"

#include <string>

#include "app/SessionFailure.h"
#include "platform/ChildProcess.h"
#include "platform/Signals.h"

namespace ztp {
namespace {

using Interest = ReadinessWatcher::Interest;

void collectChildren() {
  Signals::drainChildExits();
  ChildProcess::reapForgotten();
}

}  // namespace

Interruption::Interruption(InterruptHandler& handler)
    : terminationWatcher_(terminationDescriptor(), Interest::readable, raiseIfTerminated),
      childExitWatcher_(Signals::childExitDescriptor(), Interest::readable, collectChildren),
      registration_(handler) {}

int Interruption::terminationDescriptor() {
  return Signals::terminationDescriptor();
}

void Interruption::raiseIfTerminated() {
  if (const auto signalNumber = Signals::takeTermination()) {
    throw SessionFailure{"Terminated by signal " + std::string(Signals::name(*signalNumber))};
  }
}

}  // namespace ztp
