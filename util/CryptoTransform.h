// One encryption or decryption with a key object: made, told its attributes, run. For the .cpp
// files of this folder.
#pragma once

#include <optional>
#include <variant>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/OpenSsl.h"
#include "util/TransformAttributes.h"

namespace ztp {

/// Borrows the key.
class CryptoTransform {
 public:
  /// Its direction.
  enum class Kind { encrypt, decrypt };

  /// The error of a key that is not for this direction: a public one to decrypt, a private one to
  /// encrypt.
  [[nodiscard]] static std::variant<CryptoTransform, Error> create(Kind kind, const CryptoKey& key);

  /// Absent, or why the attribute does not fit the key.
  [[nodiscard]] std::optional<Error> setAttribute(const TransformAttribute& attribute);

  /// Transforms what the buffer holds, within the buffer for AES.
  [[nodiscard]] std::variant<Data, Error> execute(Data buffer) const;

 private:
  CryptoTransform(Kind kind, const CryptoKey::Material& key) : kind_(kind), key_(&key) {}

  [[nodiscard]] std::optional<Error> check(EncryptionMode mode) const;
  [[nodiscard]] std::optional<Error> check(Padding padding) const;
  [[nodiscard]] std::optional<Error> check(const InitializationVector& vector) const;
  [[nodiscard]] bool isAES() const { return key_->kind == CryptoKey::Material::Kind::aes; }
  [[nodiscard]] std::variant<Data, Error> executeAES(Data buffer) const;
  [[nodiscard]] std::variant<Data, Error> executeRSA(DataView input) const;

  Kind kind_;
  const CryptoKey::Material* key_;
  Data initializationVector_;  // empty: zeros
};

}  // namespace ztp
