// AES-256-CBC at work on content in one piece or in several; for the .cpp files of this folder.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/CryptoKey.h"
#include "util/OpenSsl.h"
#include "util/TransformAttributes.h"

namespace ztp {

/// One pass of AES-256 in CBC mode (NIST SP 800-38A) with PKCS#7 padding (RFC 5652, section 6.3)
/// over content that is replaced where it stands: any number of pieces, then the last one. Every
/// 2 MiB of a piece there is a check for interrupts (see BlockingWait).
class BlockCipher {
 public:
  /// An absent vector is 16 zeros. The error of a key or a vector that is refused, in this order.
  [[nodiscard]] static Result<BlockCipher> begin(CryptoDirection direction, AESKeyBytes key,
                                                 std::optional<DataView> vector);
  /// Absent, or why these bytes, which must be 32, are not a key; without a cause to tell for none.
  [[nodiscard]] static MaybeError refusalOf(AESKeyBytes key);
  /// Absent, or why these bytes, which must be 16, are not a vector.
  [[nodiscard]] static MaybeError refusalOf(const InitializationVector& vector);

  /// Transforms whole blocks that are not the end of the content. After false nothing more is
  /// transformed, and `finish` tells why.
  [[nodiscard]] bool update(std::span<std::uint8_t> blocks);
  /// Transforms the last piece, which grows by its padding or shrinks by it. To decrypt, it must
  /// not be empty unless the content is.
  [[nodiscard]] MaybeError finish(Data& last);

 private:
  BlockCipher(CryptoDirection direction, OpenSslCipherContext context)
      : direction_(direction), context_(std::move(context)) {}

  [[nodiscard]] bool updateInPlace(std::span<std::uint8_t> blocks);
  [[nodiscard]] bool finishInPlace(Data& buffer, std::size_t start, std::size_t length);
  [[nodiscard]] bool encryptLast(Data& buffer);
  [[nodiscard]] bool decryptLast(Data& buffer);

  CryptoDirection direction_;
  OpenSslCipherContext context_;
  bool hasFailed_ = false;
};

}  // namespace ztp
