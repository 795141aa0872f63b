// Key objects, made of raw bytes and of base64 texts.
#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include "platform/Text.h"
#include "util/Base64.h"
#include "util/BlockCipher.h"
#include "util/CryptoUtilities.h"
#include "util/OpenSsl.h"

namespace ztp {
namespace {

using Kind = CryptoKey::Material::Kind;

// The lines that are no BEGIN or END markers, joined. The text may be a private key.
SecretText withoutMarkerLines(std::string_view text) {
  SecretText body;
  body.reserve(text.size());
  for (;;) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (!line.starts_with('-')) body += line;
    if (end == std::string_view::npos) return body;
    text.remove_prefix(end + 1);
  }
}

OpenSslKey publicKeyFromDer(DataView der) {
  const auto length = static_cast<long>(der.size());
  const std::uint8_t* bytes = der.data();
  if (EVP_PKEY* key = d2i_PUBKEY(nullptr, &bytes, length)) return OpenSslKey(key);
  ERR_clear_error();  // not a SubjectPublicKeyInfo
  bytes = der.data();
  return OpenSslKey(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &bytes, length));
}

OpenSslKey privateKeyFromDer(DataView der) {
  const std::uint8_t* bytes = der.data();
  return OpenSslKey(d2i_AutoPrivateKey(nullptr, &bytes, static_cast<long>(der.size())));
}

}  // namespace

CryptoKey::CryptoKey(std::unique_ptr<const Material> material) noexcept
    : material_(std::move(material)) {}
CryptoKey::CryptoKey(CryptoKey&& other) noexcept = default;
CryptoKey& CryptoKey::operator=(CryptoKey&& other) noexcept = default;
CryptoKey::~CryptoKey() = default;

Result<CryptoKey> CryptoUtilities::createAESKeyFromData(DataView data) {
  if (auto refusal = BlockCipher::refusalOf(AESKeyBytes{data})) return *std::move(refusal);
  return CryptoKey(std::make_unique<const CryptoKey::Material>(
      CryptoKey::Material{Kind::aes, copyOf(data), nullptr}));
}

Result<CryptoKey> CryptoUtilities::createRSAKeyFromString(std::string_view text,
                                                          RSAKeyClass keyClass) {
  const auto der = decodedBase64(withoutMarkerLines(text), Base64Padding::tolerated);
  if (!der || der->empty()) return Error{};
  const bool isPublic = keyClass == RSAKeyClass::publicKey;
  OpenSslKey key = isPublic ? publicKeyFromDer(*der) : privateKeyFromDer(*der);
  const std::string_view what = isPublic ? "RSA public key" : "RSA private key";
  if (!key) return openSslError(what);
  ERR_clear_error();  // what was tried on the way
  if (EVP_PKEY_is_a(key.get(), "RSA") != 1) {
    return Error{fmt::format("{}: a key of another kind", what)};
  }
  return CryptoKey(std::make_unique<const CryptoKey::Material>(
      CryptoKey::Material{isPublic ? Kind::rsaPublic : Kind::rsaPrivate, Data(), std::move(key)}));
}

}  // namespace ztp
