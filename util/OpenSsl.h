// OpenSSL's objects with an owner, and its errors in readable form; for the .cpp files of this
// folder, so that no other header needs the library's.
#pragma once

#include <memory>
#include <string_view>

#include <openssl/evp.h>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/CryptoKey.h"

namespace ztp {

/// Releases an object with the library's own function for it.
template <auto release>
struct OpenSslReleaser {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

using OpenSslKey = std::unique_ptr<EVP_PKEY, OpenSslReleaser<EVP_PKEY_free>>;
using OpenSslKeyContext = std::unique_ptr<EVP_PKEY_CTX, OpenSslReleaser<EVP_PKEY_CTX_free>>;
using OpenSslCipherContext = std::unique_ptr<EVP_CIPHER_CTX, OpenSslReleaser<EVP_CIPHER_CTX_free>>;
using OpenSslDigestContext = std::unique_ptr<EVP_MD_CTX, OpenSslReleaser<EVP_MD_CTX_free>>;

/// "what: reason", the reason being the first in the library's error queue, which is then empty.
Error openSslError(std::string_view what);

/// An AES key is its bytes; an RSA key is the library's object.
struct CryptoKey::Material {
  /// What the key is good for: both directions, encryption, decryption.
  enum class Kind { aes, rsaPublic, rsaPrivate };

  Kind kind;
  Data aesKey;        // 32 bytes when the kind is aes
  OpenSslKey rsaKey;  // set when it is not
};

}  // namespace ztp
