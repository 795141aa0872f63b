// Readable errors of the cryptographic library.
#include "util/OpenSsl.h"

#include <fmt/format.h>
#include <openssl/err.h>

namespace ztp {

Error openSslError(std::string_view what) {
  const char* reason = ERR_reason_error_string(ERR_peek_error());
  Error error{fmt::format("{}: {}", what, reason != nullptr ? reason : "unknown reason")};
  ERR_clear_error();
  return error;
}

}  // namespace ztp
