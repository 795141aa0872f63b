// The relay while the remote tool runs: its messages to the host, the host's bytes to it.
//
// Each Forward message is encrypted by itself under the session key and one IV that serves both
// directions; what is inside belongs to the tool and the host and passes unchanged.
#include <utility>

#include "app/ZanburyToolProxy.h"
#include "util/CryptoUtilities.h"

namespace ztp {
void ZanburyToolProxy::transitionToStateWaitingForServerDidStartForwarding() {
  enterState(State::WaitingForServerDidStartForwarding);
}

void ZanburyToolProxy::transitionToStateForwardingMessages() {
  enterState(State::ForwardingMessages);
}

void ZanburyToolProxy::consumeForwardedData(DataView body) {
  if (!outputFifoFileHandle || body.empty()) return;
  const auto bytes =
      CryptoUtilities::decryptData(body, AESKeyBytes{viewOf(symmetricKey)}, viewOf(forwardingIV));
  try {
    if (!bytes) throw PlatformException("The forwarded message cannot be decrypted");
    writeToOutputFifo(*bytes);
    events_.forwardedToHost(bytes->size());
    if (isConverterTool()) outputFifoFileHandle->synchronize();
  } catch (const PlatformException& exception) {
    abortWithReason("Could not write forwarded data", std::nullopt, &exception);
  }
}

void ZanburyToolProxy::forwardData(DataView bytes) {
  auto body =
      CryptoUtilities::encryptData(bytes, AESKeyBytes{viewOf(symmetricKey)}, viewOf(forwardingIV));
  sendMessageWithType(MessageType::Forward, body ? std::move(*body) : Data{});
  events_.forwardedToTool(bytes.size());
}

}  // namespace ztp
