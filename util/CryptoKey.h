// Keys as callers hold them: bytes, texts, and the key objects made of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/Data.h"

namespace ztp {

/// The raw bytes of an AES-256 key (32 are needed), told apart from any other bytes. Borrowed.
struct AESKeyBytes {
  DataView bytes;
};

/// Text of an RSA public key, as `CryptoUtilities::createRSAKeyFromString` reads it. Borrowed.
struct RSAPublicKeyText {
  std::string_view text;
};

/// Text of an RSA private key, as `CryptoUtilities::createRSAKeyFromString` reads it. Borrowed.
struct RSAPrivateKeyText {
  std::string_view text;
};

/// Which half of an RSA key pair a text holds.
enum class RSAKeyClass { publicKey, privateKey };

/// A key object; `CryptoUtilities` makes it, the caller owns it, and its material is wiped when it
/// goes. Move-only; a key that was moved from may only be assigned to or destroyed.
class CryptoKey {
 public:
  /// The cryptographic library's form of it; defined for the .cpp files of this folder only.
  struct Material;

  explicit CryptoKey(std::unique_ptr<const Material> material) noexcept;
  CryptoKey(CryptoKey&& other) noexcept;
  CryptoKey& operator=(CryptoKey&& other) noexcept;
  CryptoKey(const CryptoKey&) = delete;
  CryptoKey& operator=(const CryptoKey&) = delete;
  ~CryptoKey();

  /// For the transforms of this folder.
  [[nodiscard]] const Material& material() const noexcept { return *material_; }

 private:
  std::unique_ptr<const Material> material_;
};

}  // namespace ztp
