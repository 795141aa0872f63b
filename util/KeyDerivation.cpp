// Keys from passwords (PBKDF2) and keys within keys (RFC 3394).
#include <climits>

#include <openssl/err.h>

#include "util/CryptoSizes.h"
#include "util/CryptoUtilities.h"
#include "util/ErrorLog.h"
#include "util/OpenSsl.h"

namespace ztp {
namespace {

constexpr std::size_t wrapOverhead = 8;  // bytes: the integrity check value

const EVP_CIPHER* wrapCipherForKeySize(std::size_t size) {
  switch (size) {
    case 16:
      return EVP_aes_128_wrap();
    case 24:
      return EVP_aes_192_wrap();
    case 32:
      return EVP_aes_256_wrap();
    default:
      return nullptr;
  }
}

enum class Direction : int { unwrap = 0, wrap = 1 };

// `room` is what the output may take.
std::optional<Data> wrapTransform(Direction direction, DataView input, DataView wrappingKey,
                                  std::size_t room) {
  const EVP_CIPHER* cipher = wrapCipherForKeySize(wrappingKey.size());
  const OpenSslCipherContext context(EVP_CIPHER_CTX_new());
  if (cipher == nullptr || !context || input.size() > INT_MAX / 2) return std::nullopt;
  EVP_CIPHER_CTX_set_flags(context.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  // Room for the block that the library may fill while it works.
  Data output(room + aesBlockSize);
  int written = 0;
  const bool done = EVP_CipherInit_ex(context.get(), cipher, nullptr, wrappingKey.data(), nullptr,
                                      static_cast<int>(direction)) == 1 &&
                    EVP_CipherUpdate(context.get(), output.data(), &written, input.data(),
                                     static_cast<int>(input.size())) == 1;
  ERR_clear_error();
  if (!done || written <= 0) return std::nullopt;
  output.resize(static_cast<std::size_t>(written));
  return output;
}

}  // namespace

std::optional<Data> CryptoUtilities::deriveAESKeyFromPassword(
    std::optional<std::string_view> password, std::optional<DataView> passwordSalt,
    std::optional<std::uint64_t> passwordRounds) {
  if (!password) return std::nullopt;
  const std::uint64_t rounds = passwordRounds.value_or(defaultPasswordRounds);
  const DataView salt = passwordSalt.value_or(DataView{});
  if (rounds == 0 || rounds > INT_MAX || salt.size() > INT_MAX || password->size() > INT_MAX) {
    logError(Error{"PBKDF2: rounds or lengths out of range"});
    return std::nullopt;
  }
  Data key(aesKeySize);
  if (PKCS5_PBKDF2_HMAC(password->data(), static_cast<int>(password->size()), salt.data(),
                        static_cast<int>(salt.size()), static_cast<int>(rounds), EVP_sha256(),
                        static_cast<int>(key.size()), key.data()) != 1) {
    logError(openSslError("PBKDF2"));
    return std::nullopt;
  }
  return key;
}

std::optional<Data> CryptoUtilities::wrapAESKey(DataView key, DataView derivedAESKey) {
  return wrapTransform(Direction::wrap, key, derivedAESKey, key.size() + wrapOverhead);
}

std::optional<Data> CryptoUtilities::unwrapAESKeyWithData(DataView data, DataView derivedAESKey) {
  if (data.size() <= wrapOverhead) return std::nullopt;
  return wrapTransform(Direction::unwrap, data, derivedAESKey, data.size() - wrapOverhead);
}

}  // namespace ztp
