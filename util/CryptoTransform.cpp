// AES-256-CBC within one buffer, and RSA with PKCS#1 v1.5 padding.
#include "util/CryptoTransform.h"

#include <algorithm>
#include <array>
#include <span>

#include <fmt/format.h>
#include <openssl/rsa.h>

#include "platform/BlockingWait.h"
#include "util/CryptoSizes.h"

namespace ztp {
namespace {

constexpr std::array<std::uint8_t, aesBlockSize> zeroVector{};

// Whole blocks only: then each byte is replaced where it stands, with nothing held back. A long
// buffer goes in pieces, between which a cancel can act.
bool updateInPlace(EVP_CIPHER_CTX* context, std::span<std::uint8_t> blocks) {
  while (!blocks.empty()) {
    const auto piece = blocks.first(std::min(blocks.size(), attendedPieceSize));
    int written = 0;
    if (EVP_CipherUpdate(context, piece.data(), &written, piece.data(),
                         static_cast<int>(piece.size())) != 1) {
      return false;
    }
    blocks = blocks.subspan(piece.size());
    if (!blocks.empty()) BlockingWait::glance();
  }
  return true;
}

// The last bytes of the buffer, from `start` on, at most a block; their result takes their place.
bool finishInPlace(EVP_CIPHER_CTX* context, Data& buffer, std::size_t start, std::size_t length) {
  std::uint8_t* last = buffer.data() + start;
  int held = 0;
  int written = 0;
  if (EVP_CipherUpdate(context, last, &held, last, static_cast<int>(length)) != 1) return false;
  if (EVP_CipherFinal_ex(context, last, &written) != 1) return false;
  buffer.resize(start + static_cast<std::size_t>(written));
  return true;
}

bool encryptInPlace(EVP_CIPHER_CTX* context, Data& buffer) {
  const std::size_t rest = buffer.size() % aesBlockSize;
  const std::size_t whole = buffer.size() - rest;
  buffer.reserve(whole + aesBlockSize);  // exactly: growing by itself could double a large buffer
  buffer.resize(whole + aesBlockSize);
  return updateInPlace(context, {buffer.data(), whole}) &&
         finishInPlace(context, buffer, whole, rest);
}

// Until the last block, padding is off: with it on, the library holds one block back, and what it
// writes would no longer lie where it read.
bool decryptInPlace(EVP_CIPHER_CTX* context, Data& buffer) {
  const std::size_t size = buffer.size();
  const std::size_t whole = size == 0 ? 0 : (size - 1) / aesBlockSize * aesBlockSize;
  EVP_CIPHER_CTX_set_padding(context, 0);
  if (!updateInPlace(context, {buffer.data(), whole})) return false;
  EVP_CIPHER_CTX_set_padding(context, 1);
  return finishInPlace(context, buffer, whole, size - whole);
}

bool preparePkcs1(EVP_PKEY_CTX* context, CryptoTransform::Kind kind) {
  const int prepared = kind == CryptoTransform::Kind::encrypt ? EVP_PKEY_encrypt_init(context)
                                                              : EVP_PKEY_decrypt_init(context);
  return prepared == 1 && EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1;
}

}  // namespace

std::variant<CryptoTransform, Error> CryptoTransform::create(Kind kind, const CryptoKey& key) {
  using KeyKind = CryptoKey::Material::Kind;
  const auto& material = key.material();
  if (kind == Kind::decrypt && material.kind == KeyKind::rsaPublic) {
    return Error{"RSA decryption: needs a private key"};
  }
  if (kind == Kind::encrypt && material.kind == KeyKind::rsaPrivate) {
    return Error{"RSA encryption: needs a public key"};
  }
  return CryptoTransform(kind, material);
}

std::optional<Error> CryptoTransform::setAttribute(const TransformAttribute& attribute) {
  auto refusal = std::visit([this](const auto& value) { return check(value); }, attribute);
  if (refusal) return refusal;
  if (const auto* vector = std::get_if<InitializationVector>(&attribute)) {
    initializationVector_ = copyOf(vector->bytes);
  }
  return std::nullopt;
}

std::optional<Error> CryptoTransform::check(EncryptionMode /*mode*/) const {
  if (isAES()) return std::nullopt;
  return Error{"encryption mode: not for an RSA key"};
}

std::optional<Error> CryptoTransform::check(Padding padding) const {
  if (padding == (isAES() ? Padding::pkcs7 : Padding::pkcs1)) return std::nullopt;
  return Error{"padding: not for this kind of key"};
}

std::optional<Error> CryptoTransform::check(const InitializationVector& vector) const {
  if (!isAES()) return Error{"initialization vector: not for an RSA key"};
  if (vector.bytes.size() == aesBlockSize) return std::nullopt;
  return Error{fmt::format("initialization vector: {} bytes instead of {}", vector.bytes.size(),
                           aesBlockSize)};
}

std::variant<Data, Error> CryptoTransform::execute(Data buffer) const {
  return isAES() ? executeAES(std::move(buffer)) : executeRSA(buffer);
}

std::variant<Data, Error> CryptoTransform::executeAES(Data buffer) const {
  const std::uint8_t* vector =
      initializationVector_.empty() ? zeroVector.data() : initializationVector_.data();
  const OpenSslCipherContext context(EVP_CIPHER_CTX_new());
  const bool encrypts = kind_ == Kind::encrypt;
  const bool done =
      context &&
      EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key_->aesKey.data(), vector,
                        encrypts ? 1 : 0) == 1 &&
      (encrypts ? encryptInPlace(context.get(), buffer) : decryptInPlace(context.get(), buffer));
  if (!done) return openSslError(encrypts ? "AES encryption" : "AES decryption");
  return buffer;
}

std::variant<Data, Error> CryptoTransform::executeRSA(DataView input) const {
  const OpenSslKeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key_->rsaKey.get(), nullptr));
  const auto run = kind_ == Kind::encrypt ? EVP_PKEY_encrypt : EVP_PKEY_decrypt;
  std::size_t size = 0;
  if (context && preparePkcs1(context.get(), kind_) &&
      run(context.get(), nullptr, &size, input.data(), input.size()) == 1) {
    Data output(size);
    if (run(context.get(), output.data(), &size, input.data(), input.size()) == 1) {
      output.resize(size);
      return output;
    }
  }
  return openSslError(kind_ == Kind::encrypt ? "RSA encryption" : "RSA decryption");
}

}  // namespace ztp
