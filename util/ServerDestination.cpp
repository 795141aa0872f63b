// Reads destination URLs with the URI library and rejects what ssh would misread.
#include "util/ServerDestination.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include <uriparser/Uri.h>

#include "platform/Log.h"

namespace ztp {
namespace {

// A parsed URL; its ranges point into the text.
class Url {
 public:
  explicit Url(std::string_view text) {
    const char* errorPosition = nullptr;
    parsed_ = uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), &errorPosition) ==
              URI_SUCCESS;
  }
  Url(const Url&) = delete;
  Url& operator=(const Url&) = delete;
  ~Url() {
    if (parsed_) uriFreeUriMembersA(&uri_);
  }

  [[nodiscard]] bool parsed() const { return parsed_; }
  [[nodiscard]] std::string_view userInfo() const { return textIn(uri_.userInfo); }
  [[nodiscard]] std::string_view host() const { return textIn(uri_.hostText); }
  [[nodiscard]] std::string_view port() const { return textIn(uri_.portText); }

 private:
  static std::string_view textIn(const UriTextRangeA& range) {
    if (range.first == nullptr) return {};
    return {range.first, static_cast<std::size_t>(range.afterLast - range.first)};
  }

  UriUriA uri_{};
  bool parsed_ = false;
};

std::string percentDecoded(std::string_view text) {
  std::string decoded(text);
  const char* end = uriUnescapeInPlaceExA(decoded.data(), URI_FALSE, URI_BR_DONT_TOUCH);
  decoded.resize(static_cast<std::size_t>(end - decoded.data()));
  return decoded;
}

// The number without leading zeros; "(null)" for no port, absent for one beyond 64 bits.
std::optional<std::string> portTextFor(std::string_view digits) {
  if (digits.empty()) return std::string(absentText);
  std::uint64_t port = 0;
  const auto* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, port);
  if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return std::to_string(port);
}

bool isControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

// Fit to be an argument of ssh that is neither an option nor lost. It stands alone in the list, so
// a blank does no harm: ssh judges it.
bool isPlainArgument(std::string_view text) {
  return !text.empty() && !text.starts_with('-') &&
         std::none_of(text.begin(), text.end(), isControl);
}

// ssh would look for a user before "@", and takes "/" for the sign of a URL.
bool namesOnlyAHost(std::string_view text) {
  return isPlainArgument(text) && text.find_first_of("@/") == std::string_view::npos;
}

}  // namespace

std::optional<ServerDestination> ServerDestination::fromString(std::string_view text) {
  if (text.empty() || text.size() > maximumLength) return std::nullopt;
  const Url url(text);
  if (!url.parsed()) return std::nullopt;
  const std::string_view userInfo = url.userInfo();
  auto user = percentDecoded(userInfo.substr(0, userInfo.find(':')));
  auto host = percentDecoded(url.host());
  auto port = portTextFor(url.port());
  if (!isPlainArgument(user) || !namesOnlyAHost(host) || !port) return std::nullopt;
  return ServerDestination{std::move(user), std::move(host), std::move(*port)};
}

}  // namespace ztp
