// The entry point: one session, one run loop. Every way out goes through the session's stopProxy.
#include <exception>

#include "app/CommandLine.h"
#include "app/ZanburyToolProxy.h"
#include "platform/LastResort.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/Signals.h"
#include "platform/StandardStreams.h"
#include "platform/System.h"

namespace {

void runSession(bool isServer) {
  ztp::Signals::catchTermination();
  ztp::RunLoop& runLoop = ztp::RunLoop::main();
  const auto session = ztp::ZanburyToolProxy::initServerProxy(isServer);
  session->startProxy();
  runLoop.run();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  ztp::StandardStreams::prepare();
  ztp::system::refuseCoreDumps();
  ztp::LastResort::prepare();
  const ztp::CommandLine commandLine(argumentCount, arguments);
  try {
    const bool isServer = commandLine.asksForServerRole();
    if (!isServer && commandLine.answers()) return 0;
    runSession(isServer);
    return 0;
  } catch (const std::exception& exception) {
    // What the session stands on could not be made; from then on the session catches its own.
    ztp::log("ERROR: {}", ztp::printable(exception.what()));
    return 1;
  }
}
