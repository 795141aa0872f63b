// What the session draws as its secrets: known bytes, so that a test can play the server without an
// RSA key and a run can be repeated.
#pragma once

#include "platform/Data.h"

namespace ztp::test {

/// The secrets of the last handshake, in the order in which they were drawn.
struct FixedSecrets {
  Data symmetricKey;
  Data forwardingIV;
  Data inputArchiveIV;
  Data salt;

  /// Those that the session drew last.
  static const FixedSecrets& current();
  /// Forgets them; the next ones are the first again.
  static void reset();
};

}  // namespace ztp::test
