// Turns error numbers into readable lines.
#include "platform/Error.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

namespace ztp {

Error Error::fromErrno(std::string_view what) {
  return fromErrorNumber(what, errno);
}

Error Error::fromErrorNumber(std::string_view what, int errorNumber) {
  return {fmt::format("{}: {}", what, std::generic_category().message(errorNumber))};
}

}  // namespace ztp
