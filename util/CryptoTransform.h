// One encryption or decryption with a key object: made, told its attributes, run. For the .cpp
// files of this folder.
#pragma once

#include <optional>
#include <variant>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/BlockCipher.h"
#include "util/OpenSsl.h"
#include "util/TransformAttributes.h"

namespace ztp {

/// Borrows the key.
class CryptoTransform {
 public:
  /// The error of a key that is not for this direction: a public one to decrypt, a private one to
  /// encrypt.
  [[nodiscard]] static std::variant<CryptoTransform, Error> create(CryptoDirection direction,
                                                                   const CryptoKey& key);
  /// Made and told its attributes in their order; the first error.
  [[nodiscard]] static std::variant<CryptoTransform, Error> prepare(
      CryptoDirection direction, const CryptoKey& key, const TransformAttributes& attributes);

  /// Absent, or why the attribute does not fit the key.
  [[nodiscard]] std::optional<Error> setAttribute(const TransformAttribute& attribute);

  /// Transforms what the buffer holds, within the buffer for AES.
  [[nodiscard]] std::variant<Data, Error> execute(Data buffer) const;
  /// The transform at work, for content in pieces. The key must be an AES key.
  [[nodiscard]] std::variant<BlockCipher, Error> beginAES() const;

 private:
  CryptoTransform(CryptoDirection direction, const CryptoKey::Material& key)
      : direction_(direction), key_(&key) {}

  [[nodiscard]] std::optional<Error> check(EncryptionMode mode) const;
  [[nodiscard]] std::optional<Error> check(Padding padding) const;
  [[nodiscard]] std::optional<Error> check(const InitializationVector& vector) const;
  [[nodiscard]] bool isAES() const { return key_->kind == CryptoKey::Material::Kind::aes; }
  [[nodiscard]] std::variant<Data, Error> executeAES(Data buffer) const;
  [[nodiscard]] std::variant<Data, Error> executeRSA(DataView input) const;

  CryptoDirection direction_;
  const CryptoKey::Material* key_;
  Data initializationVector_;  // empty: zeros
};

}  // namespace ztp
