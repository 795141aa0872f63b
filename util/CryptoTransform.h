// One encryption or decryption with a key object: made, told its attributes, run. For the .cpp
// files of this folder.
#pragma once

#include <optional>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/CryptoKey.h"
#include "util/OpenSsl.h"
#include "util/TransformAttributes.h"

namespace ztp {

/// Borrows the key.
class CryptoTransform {
 public:
  /// The error of a key that is not for this direction: a public one to decrypt, a private one to
  /// encrypt.
  [[nodiscard]] static Result<CryptoTransform> create(CryptoDirection direction,
                                                      const CryptoKey& key);
  /// Made and told its attributes in their order; the first error.
  [[nodiscard]] static Result<CryptoTransform> prepare(CryptoDirection direction,
                                                       const CryptoKey& key,
                                                       const TransformAttributes& attributes);

  /// Absent, or why the attribute does not fit the key.
  [[nodiscard]] MaybeError setAttribute(const TransformAttribute& attribute);

  /// Transforms what the buffer holds, within the buffer for AES.
  [[nodiscard]] Result<Data> execute(Data buffer) const;

 private:
  CryptoTransform(CryptoDirection direction, const CryptoKey::Material& key)
      : direction_(direction), key_(&key) {}

  [[nodiscard]] MaybeError check(EncryptionMode mode) const;
  [[nodiscard]] MaybeError check(Padding padding) const;
  [[nodiscard]] MaybeError check(const InitializationVector& vector) const;
  [[nodiscard]] bool isAES() const { return key_->kind == CryptoKey::Material::Kind::aes; }
  [[nodiscard]] Result<Data> executeAES(Data buffer) const;
  [[nodiscard]] Result<Data> executeRSA(DataView input) const;

  CryptoDirection direction_;
  const CryptoKey::Material* key_;
  std::optional<Data> initializationVector_;  // absent: zeros
};

}  // namespace ztp
