// The operations with keys given as bytes or text: random bytes, AES, RSA, signatures.
#include "util/CryptoUtilities.h"

#include <openssl/err.h>
#include <openssl/rand.h>

#include "platform/FileHandle.h"
#include "platform/Log.h"
#include "util/CryptoSizes.h"
#include "util/CryptoTransform.h"
#include "util/ErrorLog.h"
#include "util/OpenSsl.h"

namespace ztp {
namespace {

using Kind = CryptoTransform::Kind;

// A copy with room for the padding, to be transformed in place.
Data copyWithRoom(DataView data) {
  Data copy;
  copy.reserve(data.size() + aesBlockSize);
  copy.assign(data.begin(), data.end());
  return copy;
}

std::optional<Data> transformed(Kind kind, Data data, const CryptoKey& key,
                                const TransformAttributes& attributes,
                                std::optional<Error>& error) {
  auto created = CryptoTransform::create(kind, key);
  if (auto* failure = std::get_if<Error>(&created)) {
    error = std::move(*failure);
    return std::nullopt;
  }
  auto& transform = std::get<CryptoTransform>(created);
  for (const TransformAttribute& attribute : attributes) {
    error = transform.setAttribute(attribute);
    if (error) return std::nullopt;
  }
  auto result = transform.execute(std::move(data));
  if (auto* failure = std::get_if<Error>(&result)) {
    error = std::move(*failure);
    return std::nullopt;
  }
  error = std::nullopt;
  return std::get<Data>(std::move(result));
}

std::optional<Data> transformedWithAES(Kind kind, Data data, AESKeyBytes keyBytes,
                                       std::optional<DataView> initializationVector) {
  std::optional<Error> error;
  const auto key = CryptoUtilities::createAESKeyFromData(keyBytes.bytes, &error);
  if (!key) {
    logError(error);
    return std::nullopt;
  }
  TransformAttributes attributes{EncryptionMode::cbc, Padding::pkcs7};
  if (initializationVector) attributes.emplace_back(InitializationVector{*initializationVector});
  auto result = transformed(kind, std::move(data), *key, attributes, error);
  if (!result) logError(error);
  return result;
}

std::optional<Data> transformedWithRSA(Kind kind, DataView data, std::string_view text,
                                       RSAKeyClass keyClass) {
  std::optional<Error> creationError;
  const auto key = CryptoUtilities::createRSAKeyFromString(text, keyClass, &creationError);
  if (!key) {
    logError(creationError);
    return std::nullopt;
  }
  std::optional<Error> transformError;
  auto result = transformed(kind, copyOf(data), *key, {}, transformError);
  // Not the transform's error: this line has always told the one of making the key.
  if (!result) logError(creationError);
  return result;
}

std::optional<Data> readRandomDevice(std::size_t length) {
  try {
    auto device = FileHandle::forReadingAtPath("/dev/random");
    if (!device) return std::nullopt;
    return device->readDataOfLength(length);
  } catch (const PlatformException&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<Data> CryptoUtilities::generateRandomDataOfLength(std::size_t length) {
  if (length == 0) return std::nullopt;
  Data bytes(length);
  if (RAND_bytes_ex(nullptr, bytes.data(), length, 0) == 1) return bytes;
  ERR_clear_error();
  return readRandomDevice(length);
}

std::optional<Data> CryptoUtilities::generateRandomAESKey() {
  Data key(aesKeySize);
  if (RAND_priv_bytes_ex(nullptr, key.data(), key.size(), 0) == 1) return key;
  logError(openSslError("AES key"));
  return std::nullopt;
}

std::optional<Data> CryptoUtilities::generateRandomAESInitializationVector() {
  return generateRandomDataOfLength(aesBlockSize);
}

std::optional<Data> CryptoUtilities::generateRandomPasswordSalt() {
  return generateRandomDataOfLength(passwordSaltSize);
}

std::optional<Data> CryptoUtilities::encryptData(DataView data, const CryptoKey& key,
                                                 const TransformAttributes& attributes,
                                                 std::optional<Error>& error) {
  return transformed(Kind::encrypt, copyWithRoom(data), key, attributes, error);
}

std::optional<Data> CryptoUtilities::encryptData(Data&& data, const CryptoKey& key,
                                                 const TransformAttributes& attributes,
                                                 std::optional<Error>& error) {
  return transformed(Kind::encrypt, std::move(data), key, attributes, error);
}

std::optional<Data> CryptoUtilities::decryptData(DataView data, const CryptoKey& key,
                                                 const TransformAttributes& attributes,
                                                 std::optional<Error>& error) {
  return transformed(Kind::decrypt, copyOf(data), key, attributes, error);
}

std::optional<Data> CryptoUtilities::decryptData(Data&& data, const CryptoKey& key,
                                                 const TransformAttributes& attributes,
                                                 std::optional<Error>& error) {
  return transformed(Kind::decrypt, std::move(data), key, attributes, error);
}

std::optional<Data> CryptoUtilities::encryptData(DataView data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(Kind::encrypt, copyWithRoom(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::encryptData(Data&& data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(Kind::encrypt, std::move(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::decryptData(DataView data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(Kind::decrypt, copyOf(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::decryptData(Data&& data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(Kind::decrypt, std::move(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::encryptData(DataView data, RSAPublicKeyText key) {
  return transformedWithRSA(Kind::encrypt, data, key.text, RSAKeyClass::publicKey);
}

std::optional<Data> CryptoUtilities::decryptData(DataView data, RSAPrivateKeyText key) {
  return transformedWithRSA(Kind::decrypt, data, key.text, RSAKeyClass::privateKey);
}

bool CryptoUtilities::verifySHA256Signature(DataView signature, DataView data,
                                            RSAPublicKeyText key) {
  if (signature.empty() || data.empty() || key.text.empty()) return false;
  std::optional<Error> error;
  const auto rsaKey = createRSAKeyFromString(key.text, RSAKeyClass::publicKey, &error);
  if (!rsaKey) {
    logError(error);
    return false;
  }
  const OpenSslDigestContext context(EVP_MD_CTX_new());
  EVP_PKEY* const publicKey = rsaKey->material().rsaKey.get();
  const bool holds =
      context &&
      EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, publicKey) == 1 &&
      EVP_DigestVerify(context.get(), signature.data(), signature.size(), data.data(),
                       data.size()) == 1;
  ERR_clear_error();
  return holds;
}

}  // namespace ztp
