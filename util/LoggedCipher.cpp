// What goes wrong at the beginning is kept until the end, where the content's reader expects it.
#include "util/LoggedCipher.h"

#include <utility>

#include "util/CryptoTransform.h"
#include "util/CryptoUtilities.h"
#include "util/ErrorLog.h"

namespace ztp {

LoggedCipher::LoggedCipher(CryptoDirection direction, AESKeyBytes key,
                           std::optional<DataView> initializationVector) {
  const auto keyObject = CryptoUtilities::createAESKeyFromData(key.bytes, &error_);
  if (!keyObject) return;
  TransformAttributes attributes{EncryptionMode::cbc, Padding::pkcs7};
  if (initializationVector) attributes.emplace_back(InitializationVector{*initializationVector});
  auto prepared = CryptoTransform::prepare(direction, *keyObject, attributes);
  if (auto* failure = std::get_if<Error>(&prepared)) {
    error_ = std::move(*failure);
    return;
  }
  auto begun = std::get<CryptoTransform>(prepared).beginAES();
  if (auto* failure = std::get_if<Error>(&begun)) {
    error_ = std::move(*failure);
    return;
  }
  cipher_ = std::get<BlockCipher>(std::move(begun));
}

bool LoggedCipher::update(std::span<std::uint8_t> blocks) {
  return cipher_ && cipher_->update(blocks);
}

bool LoggedCipher::finish(Data& last) {
  if (cipher_) {
    error_ = cipher_->finish(last);
    if (!error_) return true;
  }
  logError(error_);
  return false;
}

}  // namespace ztp
