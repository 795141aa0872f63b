// In place: the library's own buffering of a block is kept out of the way until the last piece.
#include "util/BlockCipher.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "platform/BlockingWait.h"
#include "util/CryptoSizes.h"

namespace ztp {
namespace {

constexpr std::array<std::uint8_t, aesBlockSize> zeroVector{};

Error failureOf(CryptoDirection direction) {
  return openSslError(direction == CryptoDirection::encrypt ? "AES encryption" : "AES decryption");
}

}  // namespace

MaybeError BlockCipher::refusalOf(AESKeyBytes key) {
  const std::size_t size = key.bytes.size();
  if (size == aesKeySize) return std::nullopt;
  if (size == 0) return Error{};
  return Error{fmt::format("AES key: {} bytes instead of {}", size, aesKeySize)};
}

MaybeError BlockCipher::refusalOf(const InitializationVector& vector) {
  const std::size_t size = vector.bytes.size();
  if (size == aesBlockSize) return std::nullopt;
  return Error{fmt::format("initialization vector: {} bytes instead of {}", size, aesBlockSize)};
}

Result<BlockCipher> BlockCipher::begin(CryptoDirection direction, AESKeyBytes key,
                                       std::optional<DataView> vector) {
  const DataView start = vector.value_or(zeroVector);
  if (auto refusal = refusalOf(key)) return *std::move(refusal);
  if (auto refusal = refusalOf(InitializationVector{start})) return *std::move(refusal);
  OpenSslCipherContext context(EVP_CIPHER_CTX_new());
  const int encrypts = direction == CryptoDirection::encrypt ? 1 : 0;
  if (!context || EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.bytes.data(),
                                    start.data(), encrypts) != 1) {
    return failureOf(direction);
  }
  // With padding on, a decryption holds one block back, and what it writes would no longer lie
  // where it read; an encryption of whole blocks writes the same bytes either way.
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  return BlockCipher(direction, std::move(context));
}

bool BlockCipher::update(std::span<std::uint8_t> blocks) {
  hasFailed_ = hasFailed_ || !updateInPlace(blocks);
  return !hasFailed_;
}

MaybeError BlockCipher::finish(Data& last) {
  const bool encrypts = direction_ == CryptoDirection::encrypt;
  if (!hasFailed_ && (encrypts ? encryptLast(last) : decryptLast(last))) return std::nullopt;
  return failureOf(direction_);
}

// A long buffer goes in pieces, between which a cancel can act.
bool BlockCipher::updateInPlace(std::span<std::uint8_t> blocks) {
  while (!blocks.empty()) {
    const auto piece = blocks.first(std::min(blocks.size(), interruptCheckBytes));
    int written = 0;
    if (EVP_CipherUpdate(context_.get(), piece.data(), &written, piece.data(),
                         static_cast<int>(piece.size())) != 1) {
      return false;
    }
    blocks = blocks.subspan(piece.size());
    if (!blocks.empty()) BlockingWait::checkInterrupts();
  }
  return true;
}

// The last bytes of the buffer, from `start` on, at most a block; their result takes their place.
bool BlockCipher::finishInPlace(Data& buffer, std::size_t start, std::size_t length) {
  std::uint8_t* last = buffer.data() + start;
  int held = 0;
  int written = 0;
  EVP_CIPHER_CTX_set_padding(context_.get(), 1);
  if (EVP_CipherUpdate(context_.get(), last, &held, last, static_cast<int>(length)) != 1 ||
      EVP_CipherFinal_ex(context_.get(), last, &written) != 1) {
    return false;
  }
  buffer.resize(start + static_cast<std::size_t>(written));
  return true;
}

bool BlockCipher::encryptLast(Data& buffer) {
  const std::size_t rest = buffer.size() % aesBlockSize;
  const std::size_t whole = buffer.size() - rest;
  buffer.reserve(whole + aesBlockSize);  // exactly: growing by itself could double a large buffer
  buffer.resize(whole + aesBlockSize);
  return updateInPlace({buffer.data(), whole}) && finishInPlace(buffer, whole, rest);
}

bool BlockCipher::decryptLast(Data& buffer) {
  const std::size_t size = buffer.size();
  const std::size_t whole = size == 0 ? 0 : (size - 1) / aesBlockSize * aesBlockSize;
  return updateInPlace({buffer.data(), whole}) && finishInPlace(buffer, whole, size - whole);
}

}  // namespace ztp
