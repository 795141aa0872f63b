// How the secrets are drawn, sent, proved and used.
#include "app/SessionSecrets.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "app/DictionaryValues.h"
#include "platform/Text.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

using Utilities = ZanburyToolProxyUtilities;

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

void SessionSecrets::generate() {
  symmetricKey = CryptoUtilities::generateRandomAESKey();
  forwardingIV = CryptoUtilities::generateRandomAESInitializationVector();
  inputArchiveIV = CryptoUtilities::generateRandomAESInitializationVector();
  handshakeSalt = CryptoUtilities::generateRandomPasswordSalt();
}

void SessionSecrets::addTo(Dictionary& dictionary,
                           const std::optional<std::string>& publicKey) const {
  const SecretText keyText = encryptedAndEncoded(symmetricKey, publicKey);
  const SecretText saltText = encryptedAndEncoded(handshakeSalt, publicKey);
  if (publicKey) dictionary["publicKey"] = *publicKey;
  dictionary["symmetricKey"] = keyText;
  dictionary["forwardingIV"] = encoded(forwardingIV);
  dictionary["inputArchiveIV"] = encoded(inputArchiveIV);
  dictionary["salt"] = saltText;
}

bool SessionSecrets::saltMatches(const Dictionary& dictionary) const {
  const auto initializationVector = decodedForKey(dictionary, "saltIV");
  const auto encryptedSalt = decodedForKey(dictionary, "salt");
  const auto salt =
      CryptoUtilities::decryptData(viewOf(encryptedSalt), key(), initializationVector);
  return hasBytes(salt) && CryptoUtilities::areEqual(*salt, viewOf(handshakeSalt));
}

std::optional<std::vector<std::string>> SessionSecrets::redirectDestinations(
    const Dictionary& dictionary) const {
  const auto initializationVector = decodedForKey(dictionary, "redirectDestinationsIV");
  const auto encrypted = decodedForKey(dictionary, "redirectDestinations");
  if (!hasBytes(initializationVector) || !hasBytes(encrypted)) return std::nullopt;
  const auto text =
      CryptoUtilities::decryptData(DataView(*encrypted), key(), DataView(*initializationVector));
  if (!text || !isUtf8(textOf(*text))) return std::nullopt;
  return split(textOf(*text), ',');
}

void SessionSecrets::readOutputArchiveIV(const Dictionary& dictionary) {
  outputArchiveIV = decodedForKey(dictionary, "outputArchiveIV");
}

std::optional<Data> SessionSecrets::encryptForwarded(DataView bytes) const {
  return CryptoUtilities::encryptData(bytes, key(), viewOf(forwardingIV));
}

std::optional<Data> SessionSecrets::decryptForwarded(Data body) const {
  return CryptoUtilities::decryptData(std::move(body), key(), viewOf(forwardingIV));
}

std::optional<DataView> SessionSecrets::resultIV() const {
  return outputArchiveIV ? std::optional(DataView(*outputArchiveIV)) : std::nullopt;
}

}  // namespace ztp
