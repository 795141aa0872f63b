// A cipher at work for callers that have a key as bytes and want failures logged; for the .cpp
// files of this folder.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "util/BlockCipher.h"
#include "util/CryptoKey.h"

namespace ztp {

/// A BlockCipher whose failures are all told at its end.
class LoggedCipher {
 public:
  LoggedCipher(CryptoDirection direction, AESKeyBytes key, std::optional<DataView> vector)
      : cipher_(BlockCipher::begin(direction, key, vector)) {}

  /// As BlockCipher's; false, and nothing transformed, where the pass could not begin.
  [[nodiscard]] bool update(std::span<std::uint8_t> blocks);
  /// As BlockCipher's; false after logging the first failure.
  [[nodiscard]] bool finish(Data& last);

 private:
  Result<BlockCipher> cipher_;
};

}  // namespace ztp
