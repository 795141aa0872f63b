// The entry point: one session, one run loop. Every way out goes through the session's stopProxy.
#include <algorithm>
#include <string_view>

#include "app/ZanburyToolProxy.h"
#include "platform/RunLoop.h"
#include "platform/Signals.h"
#include "platform/StandardStreams.h"
#include "platform/System.h"

int main(int argumentCount, char** arguments) {
  ztp::StandardStreams::prepare();
  ztp::system::refuseCoreDumps();
  ztp::Signals::catchTermination();

  const bool isServer =
      std::any_of(arguments + std::min(argumentCount, 1), arguments + argumentCount,
                  [](std::string_view argument) { return argument == "server"; });
  ztp::RunLoop& runLoop = ztp::RunLoop::main();
  const auto session = ztp::ZanburyToolProxy::initServerProxy(isServer);
  session->startProxy();
  runLoop.run();
  return 0;
}
