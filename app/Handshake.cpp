// The handshake: who the client is, the session's secrets, the proof that the server could read
// them, redirects and limits.
#include <nlohmann/json.hpp>

#include "app/DictionaryValues.h"
#include "app/SessionFailure.h"
#include "app/ZanburyToolProxy.h"
#include "platform/ApplicationBundle.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

// In one session. Servers that send a client in circles must not keep it for ever.
constexpr int mostRedirects = 1000;

void addIfPresent(Dictionary& dictionary, const char* key,
                  const std::optional<std::string>& value) {
  if (value) dictionary[key] = *value;
}

void addIfNonEmpty(Dictionary& dictionary, const char* key,
                   const std::optional<std::string>& value) {
  if (value && !value->empty()) dictionary[key] = *value;
}

void addHostDescription(Dictionary& dictionary, const std::optional<std::string>& hostPath) {
  if (!hostPath || hostPath->empty()) return;
  const ApplicationBundle bundle(*hostPath);
  const std::string identifier = bundle.bundleIdentifier();
  addIfNonEmpty(dictionary, "hostIdentifier", identifier);
  addIfNonEmpty(dictionary, "hostVersion", bundle.objectForInfoDictionaryKey("CFBundleVersion"));
  // The short version only decides that the key is there: servers have always received the
  // identifier under it.
  if (!bundle.objectForInfoDictionaryKey("CFBundleShortVersionString").empty()) {
    dictionary["hostShortVersionString"] = identifier;
  }
}

void addClientDescription(Dictionary& dictionary, const ClientEnvironment& environment) {
  addIfPresent(dictionary, "toolName", environment.toolName);
  addIfPresent(dictionary, "toolVersion", environment.toolVersion);
  addIfNonEmpty(dictionary, "systemVersion", ZanburyToolProxyUtilities::systemVersion());
  addHostDescription(dictionary, environment.hostPath);
  addIfNonEmpty(dictionary, "clientId", environment.clientId);
  addIfNonEmpty(dictionary, "macAddress", environment.macAddress);
  addIfNonEmpty(dictionary, "userId", environment.userId);
  addIfNonEmpty(dictionary, "userName", environment.userName);
}

}  // namespace

void ZanburyToolProxy::consumeServerHello(const std::optional<Dictionary>& /*dictionary*/) {
  connection_->removeIdentity();
}

void ZanburyToolProxy::sendClientHandshake() {
  Dictionary dictionary = Dictionary::object();
  addClientDescription(dictionary, environment_);
  secrets_.generate();
  secrets_.addTo(dictionary, environment_.publicKey);
  connection_->sendMessageWithType(MessageType::ClientHandshake, dictionary);
}

void ZanburyToolProxy::transitionToStateWaitingForServerHandshake() {
  enterState(State::WaitingForServerHandshake);
}

bool ZanburyToolProxy::consumeServerHandshake(const std::optional<Dictionary>& dictionary) {
  if (!dictionary || !secrets_.saltMatches(*dictionary)) throw SessionFailure{"Invalid salt"};
  if (const auto destinations = secrets_.redirectDestinations(*dictionary)) {
    redirectTo(*destinations);
    return false;
  }
  maxInputArchiveSize = integerForKey(*dictionary, "maxInputArchiveSize").value_or(0);
  secrets_.readOutputArchiveIV(*dictionary);
  return true;
}

void ZanburyToolProxy::redirectTo(const std::vector<std::string>& destinations) {
  if (++redirectCount_ > mostRedirects) throw SessionFailure{"Too many redirects"};
  pushServerDestinations(destinations);
  cleanUpServerTask();
  transitionToStateWaitingForServerHello();
  launchServerTask();
}

}  // namespace ztp
