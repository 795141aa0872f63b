// The cryptography of the conversation: random bytes, AES-256-CBC, RSA, key wrapping, key
// derivation and signature verification, all done by OpenSSL.
//
// Failures return nothing, false or an Error, never an exception; where a line is logged for one,
// the operation says so. An error without a cause to tell prints as "(null)". Results and buffers
// are wiped when they are released (see Data).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Data.h"
#include "platform/Error.h"
#include "util/CryptoKey.h"
#include "util/TransformAttributes.h"

namespace ztp {

/// Stateless operations. An AES transform of more than 2 MiB checks for interrupts every 2 MiB (see
/// BlockingWait), so that a cancel ends a long encryption: such data belongs to the main thread.
/// All else may be called from any.
class CryptoUtilities {
 public:
  CryptoUtilities() = delete;

  // Random bytes

  /// `length` bytes of the library's random source; should that fail, of /dev/random (whatever a
  /// read of that length yields). Absent for a length of 0, or when neither source can be read.
  [[nodiscard]] static std::optional<Data> generateRandomDataOfLength(std::size_t length);
  /// A fresh AES-256 key, 32 bytes. Absent after logging the error.
  [[nodiscard]] static std::optional<Data> generateRandomAESKey();
  /// 16 random bytes.
  [[nodiscard]] static std::optional<Data> generateRandomAESInitializationVector();
  /// 32 random bytes.
  [[nodiscard]] static std::optional<Data> generateRandomPasswordSalt();

  /// Whether two secrets are the same bytes; takes a time that depends on their sizes only, and
  /// leaves nothing of them in registers that the system puts on the stack.
  [[nodiscard]] static bool areEqual(DataView first, DataView second);

  // Key objects

  /// An AES key of 32 raw bytes. The error of empty data has no cause to tell.
  [[nodiscard]] static Result<CryptoKey> createAESKeyFromData(DataView data);
  /// An RSA key of base64 text: lines that begin with "-" are skipped, characters outside the
  /// alphabet ignored, missing "=" supplied. The decoded DER is, for a public key, a
  /// SubjectPublicKeyInfo (RFC 5280) or a PKCS#1 RSAPublicKey (RFC 8017); for a private key, a
  /// PKCS#8 PrivateKeyInfo (RFC 5208) or a PKCS#1 RSAPrivateKey. The error of text that
  /// decodes to nothing has no cause to tell.
  [[nodiscard]] static Result<CryptoKey> createRSAKeyFromString(std::string_view text,
                                                                RSAKeyClass keyClass);

  // Transforms

  /// With a key object. The error names what does not fit: a key that is not for this direction, an
  /// attribute that is not for this key, the data.
  /// The overloads that take over a buffer work within it: encrypting with AES allocates nothing
  /// when 16 bytes of capacity are free, decrypting never does.
  [[nodiscard]] static Result<Data> encryptData(DataView data, const CryptoKey& key,
                                                const TransformAttributes& attributes);
  [[nodiscard]] static Result<Data> encryptData(Data&& data, const CryptoKey& key,
                                                const TransformAttributes& attributes);
  [[nodiscard]] static Result<Data> decryptData(DataView data, const CryptoKey& key,
                                                const TransformAttributes& attributes);
  [[nodiscard]] static Result<Data> decryptData(Data&& data, const CryptoKey& key,
                                                const TransformAttributes& attributes);

  /// AES-256-CBC with PKCS#7 padding. An absent vector is 16 bytes of zeros; one of any other
  /// length than 16 is refused. Failures are logged with their cause; an empty key logs "(null)".
  /// A wrong key or vector is noticed only when it spoils the padding.
  [[nodiscard]] static std::optional<Data> encryptData(
      DataView data, AESKeyBytes key, std::optional<DataView> initializationVector);
  [[nodiscard]] static std::optional<Data> encryptData(
      Data&& data, AESKeyBytes key, std::optional<DataView> initializationVector);
  [[nodiscard]] static std::optional<Data> decryptData(
      DataView data, AESKeyBytes key, std::optional<DataView> initializationVector);
  [[nodiscard]] static std::optional<Data> decryptData(
      Data&& data, AESKeyBytes key, std::optional<DataView> initializationVector);

  /// RSA with PKCS#1 v1.5 padding, of at most the modulus' length less 11 bytes. A key that cannot
  /// be read is logged with its cause. A transform that fails is logged as "(null)": the line names
  /// the error of making the key, of which there is none then; readers of the log know it so.
  [[nodiscard]] static std::optional<Data> encryptData(DataView data, RSAPublicKeyText key);
  [[nodiscard]] static std::optional<Data> decryptData(DataView data, RSAPrivateKeyText key);

  // Keys from passwords and keys within keys

  /// Rounds of a derivation that names none.
  static constexpr std::uint64_t defaultPasswordRounds = 600'000;

  /// PBKDF2 (RFC 8018) with HMAC-SHA256: 32 key bytes. No salt is an empty one, no rounds are
  /// `defaultPasswordRounds`. Absent without a password, and after logging when it fails (0
  /// rounds).
  [[nodiscard]] static std::optional<Data> deriveAESKeyFromPassword(
      std::optional<std::string_view> password, std::optional<DataView> passwordSalt,
      std::optional<std::uint64_t> passwordRounds);
  /// AES key wrap (RFC 3394) of `key`, a multiple of 8 and at least 16 bytes, under a key of 16, 24
  /// or 32 bytes: 8 bytes more than `key`. Absent, and nothing logged, when it fails.
  [[nodiscard]] static std::optional<Data> wrapAESKey(DataView key, DataView derivedAESKey);
  /// The reverse: 8 bytes less. Absent, and nothing logged, for 8 bytes or fewer, a wrong key or
  /// damaged bytes.
  [[nodiscard]] static std::optional<Data> unwrapAESKeyWithData(DataView data,
                                                                DataView derivedAESKey);

  // Signatures

  /// True when `signature` is an RSA signature (PKCS#1 v1.5, RFC 8017 section 8.2) of the SHA-256
  /// digest of `data`. False when any argument is empty, the key cannot be read (logged with the
  /// cause) or the signature does not hold.
  [[nodiscard]] static bool verifySHA256Signature(DataView signature, DataView data,
                                                  RSAPublicKeyText key);
};

}  // namespace ztp
