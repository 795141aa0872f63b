// The start of the client, and what the host's bytes mean.
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"

namespace ztp {

void ZanburyToolProxy::startClient() {
  environment_.readClientEnvironment();
  events_ = EventRecord(environment_.eventsPath);
  pushServerDestinations(environment_.serverDestinations);
  if (serverDestinations.isEmpty()) {
    log("ERROR: EXPORT_SERVER_DESTINATIONS names no server to connect to");
  }
  host_.openFifos(environment_.inputFifoPath, environment_.outputFifoPath);
  const auto polling = environment_.isConverterTool()
                           ? std::optional(HostChannel::Polling{environment_.hostPid})
                           : std::nullopt;
  host_.startReadingInputFifoFileHandle(
      polling, [this](DataView data) { return consumeInputFifoData(data); });
  transitionToStateWaitingForServerHello();
  launchServerTask();
}

bool ZanburyToolProxy::consumeInputFifoData(DataView data) {
  if (state != State::ForwardingMessages) {
    throw SessionFailure{"User canceled", std::nullopt, std::nullopt, true};
  }
  forwardData(data);
  return true;
}

}  // namespace ztp
