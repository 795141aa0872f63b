// The entry point: one session, one run loop. Every way out goes through the session's stopProxy.
#include <algorithm>
#include <exception>
#include <string_view>

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
  const bool isServer =
      std::any_of(arguments + std::min(argumentCount, 1), arguments + argumentCount,
                  [](std::string_view argument) { return argument == "server"; });
  try {
    runSession(isServer);
    return 0;
  } catch (const std::exception& exception) {
    // What the session stands on could not be made; from then on the session catches its own.
    ztp::log("ERROR: {}", ztp::printable(exception.what()));
    return 1;
  }
}
