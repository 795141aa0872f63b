// The entry point: one session, one run loop. Every way out unwinds to here.
#include <exception>

#include "app/CommandLine.h"
#include "app/ProcessEnded.h"
#include "app/ZanburyToolProxy.h"
#include "platform/LastResort.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/Signals.h"
#include "platform/StandardStreams.h"
#include "platform/System.h"

namespace {

int runSession(bool isServer) {
  try {
    ztp::Signals::catchTermination();
    ztp::RunLoop& runLoop = ztp::RunLoop::main();
    const auto session = ztp::ZanburyToolProxy::initServerProxy(isServer);
    session->startProxy();
    session->perform([&] { runLoop.run(); });
    return 0;
  } catch (const ztp::ProcessEnded& end) {
    return end.status;
  }
}

int run(const ztp::CommandLine& commandLine) {
  try {
    const bool isServer = commandLine.asksForServerRole();
    if (!isServer && commandLine.answers()) return 0;
    return runSession(isServer);
  } catch (const std::exception& exception) {
    // What the session stands on could not be made; from then on the session catches its own.
    ztp::log("ERROR: {}", ztp::printable(exception.what()));
    return 1;
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  ztp::StandardStreams::prepare();
  ztp::system::disableCoreDumps();
  ztp::LastResort::prepare();
  const int status = run(ztp::CommandLine(argumentCount, arguments));
  ztp::StandardStreams::restore();
  return status;
}
