// What an encryption or decryption with a key object can be told before it runs.
#pragma once

#include <variant>
#include <vector>

#include "platform/Data.h"

namespace ztp {

/// Which way data is transformed.
enum class CryptoDirection { encrypt, decrypt };

/// How the blocks of a cipher are chained (NIST SP 800-38A).
enum class EncryptionMode { cbc };

/// How data is filled up: PKCS#7 (RFC 5652, section 6.3) for AES, PKCS#1 v1.5 (RFC 8017,
/// section 7.2) for RSA.
enum class Padding { pkcs7, pkcs1 };

/// The first chaining block of an AES transform: 16 bytes. Borrowed.
struct InitializationVector {
  DataView bytes;
};

/// One thing that a transform is told; the type is the attribute's name.
using TransformAttribute = std::variant<EncryptionMode, Padding, InitializationVector>;

/// Applied in order. What is not among them has its default: CBC, PKCS#7 and an initialization
/// vector of zeros for AES; PKCS#1 v1.5 for RSA.
using TransformAttributes = std::vector<TransformAttribute>;

}  // namespace ztp
