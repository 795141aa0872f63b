// Keys and attributes are checked here; AES is BlockCipher's, RSA with PKCS#1 v1.5 padding is ours.
#include "util/CryptoTransform.h"

#include <openssl/rsa.h>

#include "util/BlockCipher.h"

namespace ztp {
namespace {

bool preparePkcs1(EVP_PKEY_CTX* context, CryptoDirection direction) {
  const int prepared = direction == CryptoDirection::encrypt ? EVP_PKEY_encrypt_init(context)
                                                             : EVP_PKEY_decrypt_init(context);
  return prepared == 1 && EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1;
}

}  // namespace

Result<CryptoTransform> CryptoTransform::create(CryptoDirection direction, const CryptoKey& key) {
  using KeyKind = CryptoKey::Material::Kind;
  const auto& material = key.material();
  if (direction == CryptoDirection::decrypt && material.kind == KeyKind::rsaPublic) {
    return Error{"RSA decryption: needs a private key"};
  }
  if (direction == CryptoDirection::encrypt && material.kind == KeyKind::rsaPrivate) {
    return Error{"RSA encryption: needs a public key"};
  }
  return CryptoTransform(direction, material);
}

Result<CryptoTransform> CryptoTransform::prepare(CryptoDirection direction, const CryptoKey& key,
                                                 const TransformAttributes& attributes) {
  auto transform = create(direction, key);
  if (!transform) return transform;
  for (const TransformAttribute& attribute : attributes) {
    if (auto refusal = transform->setAttribute(attribute)) return *std::move(refusal);
  }
  return transform;
}

MaybeError CryptoTransform::setAttribute(const TransformAttribute& attribute) {
  auto refusal = std::visit([this](const auto& value) { return check(value); }, attribute);
  if (refusal) return refusal;
  if (const auto* vector = std::get_if<InitializationVector>(&attribute)) {
    initializationVector_ = copyOf(vector->bytes);
  }
  return std::nullopt;
}

MaybeError CryptoTransform::check(EncryptionMode /*mode*/) const {
  if (isAES()) return std::nullopt;
  return Error{"encryption mode: not for an RSA key"};
}

MaybeError CryptoTransform::check(Padding padding) const {
  if (padding == (isAES() ? Padding::pkcs7 : Padding::pkcs1)) return std::nullopt;
  return Error{"padding: not for this kind of key"};
}

MaybeError CryptoTransform::check(const InitializationVector& vector) const {
  if (!isAES()) return Error{"initialization vector: not for an RSA key"};
  return BlockCipher::refusalOf(vector);
}

Result<Data> CryptoTransform::execute(Data buffer) const {
  return isAES() ? executeAES(std::move(buffer)) : executeRSA(buffer);
}

Result<Data> CryptoTransform::executeAES(Data buffer) const {
  auto cipher = BlockCipher::begin(direction_, AESKeyBytes{key_->aesKey}, initializationVector_);
  if (!cipher) return cipher.error();
  if (auto failure = cipher->finish(buffer)) return *std::move(failure);
  return buffer;
}

Result<Data> CryptoTransform::executeRSA(DataView input) const {
  const OpenSslKeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key_->rsaKey.get(), nullptr));
  const auto run = direction_ == CryptoDirection::encrypt ? EVP_PKEY_encrypt : EVP_PKEY_decrypt;
  std::size_t size = 0;
  if (context && preparePkcs1(context.get(), direction_) &&
      run(context.get(), nullptr, &size, input.data(), input.size()) == 1) {
    Data output(size);
    if (run(context.get(), output.data(), &size, input.data(), input.size()) == 1) {
      output.resize(size);
      return output;
    }
  }
  return openSslError(direction_ == CryptoDirection::encrypt ? "RSA encryption" : "RSA decryption");
}

}  // namespace ztp
