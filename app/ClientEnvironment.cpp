// The variables by name, and the order in which the servers are tried.
#include "app/ClientEnvironment.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/Text.h"
#include "platform/Wipe.h"

namespace ztp {
namespace {

constexpr const char* identityVariable = "EXPORT_SERVER_IDENTITY";
constexpr std::string_view converterTool = "ZanburyConverter";

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

std::vector<std::string> destinations() {
  const auto list = environmentString("EXPORT_SERVER_DESTINATIONS");
  return list ? shuffled(split(*list, ',')) : std::vector<std::string>{};
}

}  // namespace

ClientEnvironment::~ClientEnvironment() {
  if (char* text = std::getenv(identityVariable)) wipe(text, std::strlen(text));
}

void ClientEnvironment::readClientEnvironment() {
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
  serverDestinations = destinations();
  eventsPath = environmentString("EXPORT_EVENTS_PATH");
  isDebugging = environmentString("EXPORT_DEBUG") == "1";
}

bool ClientEnvironment::isConverterTool() const {
  return toolName == converterTool;
}

}  // namespace ztp
