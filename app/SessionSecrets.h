// What only this session and its server know: the session key and what goes with it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/Data.h"
#include "protocol/Dictionary.h"
#include "util/CryptoKey.h"

namespace ztp {

/// One set of secrets for each handshake. All encryption is AES-256-CBC with PKCS#7 padding, the
/// server's key RSA with PKCS#1 v1.5 padding; all texts are base64 (see CryptoUtilities and
/// ZanburyToolProxyUtilities). Everything is wiped when it is replaced and when this object goes.
class SessionSecrets {
 public:
  /// Draws a new key of 32 bytes, two IVs of 16 and a salt of 32. Of an earlier set the IV of the
  /// result stays until the server sends another.
  void generate();
  /// Adds them to a handshake for the owner of the public key: key and salt encrypted (an empty
  /// text where that fails), the IVs in clear, and the text of the public key itself.
  void addTo(Dictionary& dictionary, const std::optional<std::string>& publicKey) const;

  /// Whether the server has read the salt: it sends it back under the session key.
  [[nodiscard]] bool saltMatches(const Dictionary& dictionary) const;
  /// The servers that are to be tried instead; absent when there are none or they cannot be read.
  [[nodiscard]] std::optional<std::vector<std::string>> redirectDestinations(
      const Dictionary& dictionary) const;
  /// Takes over the IV of the result.
  void readOutputArchiveIV(const Dictionary& dictionary);

  /// A forwarded chunk, by itself under the session key and the one IV for both directions. Absent
  /// after logging why.
  [[nodiscard]] std::optional<Data> encryptForwarded(DataView bytes) const;
  /// The same back, in the buffer that it is given.
  [[nodiscard]] std::optional<Data> decryptForwarded(Data body) const;

  /// The session key, and the IV of the upload.
  [[nodiscard]] AESKeyBytes key() const { return {viewOf(symmetricKey)}; }
  [[nodiscard]] DataView uploadIV() const { return viewOf(inputArchiveIV); }
  /// Absent where the server sent none: zeros.
  [[nodiscard]] std::optional<DataView> resultIV() const;

 private:
  std::optional<Data> symmetricKey;
  std::optional<Data> forwardingIV;
  std::optional<Data> inputArchiveIV;
  std::optional<Data> outputArchiveIV;
  std::optional<Data> handshakeSalt;
};

}  // namespace ztp
