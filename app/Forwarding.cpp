// The relay while the remote tool runs: its messages to the host, the host's bytes to it.
//
// Each Forward message is encrypted by itself; what is inside belongs to the tool and the host and
// passes unchanged.
#include <utility>

#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"

namespace ztp {

void ZanburyToolProxy::transitionToStateWaitingForServerDidStartForwarding() {
  enterState(State::WaitingForServerDidStartForwarding);
}

void ZanburyToolProxy::transitionToStateForwardingMessages() {
  enterState(State::ForwardingMessages);
}

void ZanburyToolProxy::consumeForwardedData(Data body) {
  if (!host_.hasOutput() || body.empty()) return;
  const auto bytes = secrets_.decryptForwarded(std::move(body));
  try {
    if (!bytes) throw PlatformException("The forwarded message cannot be decrypted");
    host_.writeToOutputFifo(*bytes);
    events_.forwardedToHost(bytes->size());
    if (environment_.isConverterTool()) host_.synchronizeOutputFifo();
  } catch (const PlatformException& exception) {
    throw SessionFailure{"Could not write forwarded data", std::nullopt, exception};
  }
}

void ZanburyToolProxy::forwardData(DataView bytes) {
  auto body = secrets_.encryptForwarded(bytes);
  connection_->sendMessageWithType(MessageType::Forward, body ? *std::move(body) : Data{});
  events_.forwardedToTool(bytes.size());
}

}  // namespace ztp
