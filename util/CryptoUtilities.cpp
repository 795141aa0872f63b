// The operations with keys given as bytes or text: random bytes, AES, RSA, signatures.
#include "util/CryptoUtilities.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/rand.h>

#include "platform/FileHandle.h"
#include "platform/Log.h"
#include "util/CryptoSizes.h"
#include "util/CryptoTransform.h"
#include "util/ErrorLog.h"
#include "util/LoggedCipher.h"
#include "util/OpenSsl.h"

namespace ztp {
namespace {

// A copy with room for the padding, to be transformed in place.
Data copyWithRoom(DataView data) {
  Data copy;
  copy.reserve(data.size() + aesBlockSize);
  copy.assign(data.begin(), data.end());
  return copy;
}

Result<Data> transformed(CryptoDirection direction, Data data, const CryptoKey& key,
                         const TransformAttributes& attributes) {
  const auto transform = CryptoTransform::prepare(direction, key, attributes);
  if (!transform) return transform.error();
  return transform->execute(std::move(data));
}

std::optional<Data> transformedWithAES(CryptoDirection direction, Data data, AESKeyBytes keyBytes,
                                       std::optional<DataView> initializationVector) {
  if (LoggedCipher(direction, keyBytes, initializationVector).finish(data)) return data;
  return std::nullopt;
}

std::optional<Data> transformedWithRSA(CryptoDirection direction, DataView data,
                                       std::string_view text, RSAKeyClass keyClass) {
  const auto key = CryptoUtilities::createRSAKeyFromString(text, keyClass);
  if (!key) {
    logError(key.error());
    return std::nullopt;
  }
  auto result = transformed(direction, copyOf(data), *key, {});
  if (result) return *std::move(result);
  // Not the transform's error: this line has always told the one of making the key.
  logError(Error{});
  return std::nullopt;
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

bool CryptoUtilities::areEqual(DataView first, DataView second) {
  return first.size() == second.size() &&
         CRYPTO_memcmp(first.data(), second.data(), first.size()) == 0;
}

Result<Data> CryptoUtilities::encryptData(DataView data, const CryptoKey& key,
                                          const TransformAttributes& attributes) {
  return transformed(CryptoDirection::encrypt, copyWithRoom(data), key, attributes);
}

Result<Data> CryptoUtilities::encryptData(Data&& data, const CryptoKey& key,
                                          const TransformAttributes& attributes) {
  return transformed(CryptoDirection::encrypt, std::move(data), key, attributes);
}

Result<Data> CryptoUtilities::decryptData(DataView data, const CryptoKey& key,
                                          const TransformAttributes& attributes) {
  return transformed(CryptoDirection::decrypt, copyOf(data), key, attributes);
}

Result<Data> CryptoUtilities::decryptData(Data&& data, const CryptoKey& key,
                                          const TransformAttributes& attributes) {
  return transformed(CryptoDirection::decrypt, std::move(data), key, attributes);
}

std::optional<Data> CryptoUtilities::encryptData(DataView data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(CryptoDirection::encrypt, copyWithRoom(data), key,
                            initializationVector);
}

std::optional<Data> CryptoUtilities::encryptData(Data&& data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(CryptoDirection::encrypt, std::move(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::decryptData(DataView data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(CryptoDirection::decrypt, copyOf(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::decryptData(Data&& data, AESKeyBytes key,
                                                 std::optional<DataView> initializationVector) {
  return transformedWithAES(CryptoDirection::decrypt, std::move(data), key, initializationVector);
}

std::optional<Data> CryptoUtilities::encryptData(DataView data, RSAPublicKeyText key) {
  return transformedWithRSA(CryptoDirection::encrypt, data, key.text, RSAKeyClass::publicKey);
}

std::optional<Data> CryptoUtilities::decryptData(DataView data, RSAPrivateKeyText key) {
  return transformedWithRSA(CryptoDirection::decrypt, data, key.text, RSAKeyClass::privateKey);
}

bool CryptoUtilities::verifySHA256Signature(DataView signature, DataView data,
                                            RSAPublicKeyText key) {
  if (signature.empty() || data.empty() || key.text.empty()) return false;
  const auto rsaKey = createRSAKeyFromString(key.text, RSAKeyClass::publicKey);
  if (!rsaKey) {
    logError(rsaKey.error());
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
