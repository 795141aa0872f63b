// The sizes of keys, blocks and digests, each named once; for the .cpp files of this folder.
#pragma once

#include <cstddef>

namespace ztp {

/// Bits of an AES key, and of the SHA-2 digest of a signature.
inline constexpr std::size_t keyAndDigestBits = 256;
inline constexpr std::size_t aesKeySize = keyAndDigestBits / 8;  // bytes
inline constexpr std::size_t aesBlockSize = 16;                  // bytes; also the vector's
inline constexpr std::size_t passwordSaltSize = 32;              // bytes

/// Bytes of an AES transform between two looks at what else wants attention: some milliseconds.
inline constexpr std::size_t interruptCheckBytes = std::size_t{2} << 20U;

}  // namespace ztp
