// Reads the configuration that the host passes in the environment, and starts the client with it.
#include <cstdlib>
#include <utility>

#include "app/ZanburyToolProxy.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace ztp {
namespace {

std::optional<std::string> environmentString(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<SecretText> environmentSecret(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::optional<SecretText>(value) : std::nullopt;
}

std::int64_t environmentInteger(const char* name) {
  const char* value = std::getenv(name);
  return value ? leadingInteger(value) : 0;
}

// Uniform over all orders: the system's generator is seeded by the system and unbiased.
std::vector<std::string> shuffled(std::vector<std::string> items) {
  std::vector<std::string> result;
  while (!items.empty()) {
    const auto index = ::arc4random_uniform(static_cast<std::uint32_t>(items.size()));
    result.push_back(std::move(items[index]));
    items.erase(items.begin() + index);
  }
  return result;
}

}  // namespace

void ZanburyToolProxy::startClient() {
  events_ = EventRecord(environmentString("EXPORT_EVENTS_PATH"));
  isDebugging_ = environmentString("EXPORT_DEBUG") == "1";
  readClientEnvironment();
  if (serverDestinations.isEmpty()) {
    log("ERROR: EXPORT_SERVER_DESTINATIONS names no server to connect to");
  }
  openFifos();
  startReadingInputFifoFileHandle();
  transitionToStateWaitingForServerHello();
  launchServerTask();
}

void ZanburyToolProxy::readClientEnvironment() {
  sourceFilePath = environmentString("EXPORT_FILE_PATH");
  destFilePath = environmentString("EXPORT_DEST_PATH");
  logsDirPath = environmentString("EXPORT_LOGS_DIR_PATH");
  inputFifoPath = environmentString("EXPORT_INPUT_FIFO_PATH");
  outputFifoPath = environmentString("EXPORT_OUTPUT_FIFO_PATH");
  toolName = environmentString("EXPORT_TOOL");
  toolVersion = environmentString("EXPORT_TOOL_VERSION");
  serverCommandPath = environmentString("EXPORT_SERVER_COMMAND_PATH");
  serverIdentity = environmentSecret(identityVariable);
  hostPath = environmentString("EXPORT_HOST_PATH");
  hostPid = environmentInteger("EXPORT_HOST_PID");
  clientId = environmentString("EXPORT_CLIENT_ID");
  macAddress = environmentString("EXPORT_MAC_ADDRESS");
  userId = environmentString("EXPORT_USER_ID");
  userName = environmentString("EXPORT_USER_NAME");
  publicKey = environmentString("EXPORT_PUBLIC_KEY");
  retryDelay = environmentInteger("EXPORT_RETRY_DELAY");
  if (const auto destinations = environmentString("EXPORT_SERVER_DESTINATIONS")) {
    pushServerDestinations(shuffled(split(*destinations, ',')));
  }
}

void ZanburyToolProxy::pushServerDestinations(const std::vector<std::string>& destinations) {
  serverDestinations.push(destinations);
}

}  // namespace ztp
