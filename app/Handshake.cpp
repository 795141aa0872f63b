// The handshake: who the client is, a fresh session key under the server's RSA key, the proof that
// the server could read it, redirects and limits.
#include <algorithm>

#include <nlohmann/json.hpp>

#include "app/DictionaryValues.h"
#include "app/ZanburyToolProxy.h"
#include "platform/ApplicationBundle.h"
#include "platform/Text.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

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

SecretText encoded(const std::optional<Data>& data) {
  return Utilities::stringWithEncodedData(viewOf(data));
}

// The text form of `data` under an RSA key; "" when it could not be encrypted.
SecretText encryptedAndEncoded(const std::optional<Data>& data,
                               const std::optional<std::string>& publicKey) {
  return encoded(
      CryptoUtilities::encryptData(viewOf(data), RSAPublicKeyText{publicKey.value_or("")}));
}

std::optional<Data> decodedForKey(const Dictionary& dictionary, std::string_view key) {
  return Utilities::decodedDataWithString(stringForKey(dictionary, key));
}

bool hasBytes(const std::optional<Data>& data) {
  return data && !data->empty();
}

}  // namespace

void ZanburyToolProxy::transitionToStateWaitingForServerHello() {
  enterState(State::WaitingForServerHello);
}

void ZanburyToolProxy::consumeServerHello(const std::optional<Dictionary>& /*dictionary*/) {
  removeIdentity();
}

void ZanburyToolProxy::sendClientHandshake() {
  Dictionary dictionary = Dictionary::object();
  addClientDescription(dictionary);
  generateSessionSecrets();
  addSessionSecrets(dictionary);
  sendMessageWithType(MessageType::ClientHandshake, dictionary);
}

void ZanburyToolProxy::addClientDescription(Dictionary& dictionary) const {
  addIfPresent(dictionary, "toolName", toolName);
  addIfPresent(dictionary, "toolVersion", toolVersion);
  addIfNonEmpty(dictionary, "systemVersion", Utilities::systemVersion());
  addHostDescription(dictionary);
  addIfNonEmpty(dictionary, "clientId", clientId);
  addIfNonEmpty(dictionary, "macAddress", macAddress);
  addIfNonEmpty(dictionary, "userId", userId);
  addIfNonEmpty(dictionary, "userName", userName);
}

void ZanburyToolProxy::addHostDescription(Dictionary& dictionary) const {
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

void ZanburyToolProxy::generateSessionSecrets() {
  symmetricKey = CryptoUtilities::generateRandomAESKey();
  forwardingIV = CryptoUtilities::generateRandomAESInitializationVector();
  inputArchiveIV = CryptoUtilities::generateRandomAESInitializationVector();
  handshakeSalt = CryptoUtilities::generateRandomPasswordSalt();
}

void ZanburyToolProxy::addSessionSecrets(Dictionary& dictionary) const {
  const SecretText keyText = encryptedAndEncoded(symmetricKey, publicKey);
  const SecretText saltText = encryptedAndEncoded(handshakeSalt, publicKey);
  addIfPresent(dictionary, "publicKey", publicKey);
  dictionary["symmetricKey"] = keyText;
  dictionary["forwardingIV"] = encoded(forwardingIV);
  dictionary["inputArchiveIV"] = encoded(inputArchiveIV);
  dictionary["salt"] = saltText;
}

void ZanburyToolProxy::transitionToStateWaitingForServerHandshake() {
  enterState(State::WaitingForServerHandshake);
}

bool ZanburyToolProxy::consumeServerHandshake(const std::optional<Dictionary>& dictionary) {
  if (!dictionary || !saltMatches(*dictionary)) {
    abortWithReason("Invalid salt", std::nullopt, nullptr);
    return false;
  }
  if (const auto destinations = redirectDestinations(*dictionary)) {
    redirectTo(*destinations);
    return false;
  }
  maxInputArchiveSize = integerForKey(*dictionary, "maxInputArchiveSize").value_or(0);
  outputArchiveIV = decodedForKey(*dictionary, "outputArchiveIV");
  return true;
}

void ZanburyToolProxy::redirectTo(const std::vector<std::string>& destinations) {
  if (++redirectCount_ > mostRedirects) {
    abortWithReason("Too many redirects", std::nullopt, nullptr);
    return;
  }
  pushServerDestinations(destinations);
  endServerTask();
  cleanUpServerTask();
  transitionToStateWaitingForServerHello();
  launchServerTask();
}

bool ZanburyToolProxy::saltMatches(const Dictionary& dictionary) const {
  const auto initializationVector = decodedForKey(dictionary, "saltIV");
  const auto encryptedSalt = decodedForKey(dictionary, "salt");
  const auto salt = CryptoUtilities::decryptData(
      viewOf(encryptedSalt), AESKeyBytes{viewOf(symmetricKey)}, initializationVector);
  return hasBytes(salt) && std::ranges::equal(*salt, viewOf(handshakeSalt));
}

std::optional<std::vector<std::string>> ZanburyToolProxy::redirectDestinations(
    const Dictionary& dictionary) const {
  const auto initializationVector = decodedForKey(dictionary, "redirectDestinationsIV");
  const auto encrypted = decodedForKey(dictionary, "redirectDestinations");
  if (!hasBytes(initializationVector) || !hasBytes(encrypted)) return std::nullopt;
  const auto text = CryptoUtilities::decryptData(
      DataView(*encrypted), AESKeyBytes{viewOf(symmetricKey)}, DataView(*initializationVector));
  if (!text || !isUtf8(textOf(*text))) return std::nullopt;
  return split(textOf(*text), ',');
}

}  // namespace ztp
