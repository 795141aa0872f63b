// What the session draws as its secrets: known bytes, so that a test can play the server without an
// RSA key and a run can be repeated.
#pragma once

#include <cstdint>
#include <vector>

namespace ztp::test {

/// The secrets of the last handshake, in the order in which they were drawn. They outlive the
/// session's own, which it wipes.
struct FixedSecrets {
  using Bytes = std::vector<std::uint8_t>;

  Bytes symmetricKey;
  Bytes forwardingIV;
  Bytes inputArchiveIV;
  Bytes salt;

  /// Those that the session drew last.
  static const FixedSecrets& current();
  /// Forgets them; the next ones are the first again.
  static void reset();
};

}  // namespace ztp::test
