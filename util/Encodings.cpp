// Bytes and instants as text.
#include <array>

#include <openssl/evp.h>

#include "util/Base64.h"
#include "util/ErrorLog.h"
#include "util/OpenSsl.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {

SecretText ZanburyToolProxyUtilities::stringWithEncodedData(std::optional<DataView> data) {
  return encodedBase64(data.value_or(DataView{}));
}

std::optional<Data> ZanburyToolProxyUtilities::decodedDataWithString(
    std::optional<std::string_view> string) {
  if (!string || string->empty()) return std::nullopt;
  return decodedBase64(*string, Base64Padding::required);
}

std::string ZanburyToolProxyUtilities::stringWithEncodedTimestamp(Instant date) {
  return newTimestampFormatter().stringFromDate(date);
}

std::optional<Instant> ZanburyToolProxyUtilities::timestampWithString(std::string_view string) {
  return newTimestampFormatter().dateFromString(string);
}

TimestampFormatter ZanburyToolProxyUtilities::newTimestampFormatter() {
  return {};
}

std::string ZanburyToolProxyUtilities::MD5DigestForData(DataView data) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (EVP_Digest(data.data(), data.size(), digest.data(), &size, EVP_md5(), nullptr) != 1) {
    logError(openSslError("MD5"));
    return {};
  }
  return hexStringWithBytes(digest.data(), size);
}

std::string ZanburyToolProxyUtilities::hexStringWithBytes(const std::uint8_t* bytes,
                                                          std::uint64_t length) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(length * 2);
  for (const std::uint8_t byte : DataView(bytes, length)) {
    text += digits[byte >> 4U];
    text += digits[byte & 0x0fU];
  }
  return text;
}

}  // namespace ztp
