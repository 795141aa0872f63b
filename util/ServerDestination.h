// Where a server is: the user, host and port of a destination URL, fit to be arguments of ssh.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ztp {

/// The authority of a URL (RFC 3986) such as "ssh://user@host:22"; the scheme is ignored.
struct ServerDestination {
  /// Longer texts are not destinations.
  static constexpr std::size_t maximumLength = 2048;

  std::string user;      // percent-decoded, without a password
  std::string host;      // percent-decoded, an IPv6 address without its brackets
  std::string portText;  // decimal, without leading zeros; "(null)" when the URL names no port

  /// Absent when the text is not a URL, has no user or host, has a port beyond 64 bits, or when ssh
  /// could take user or host for something else: an option (a leading "-"), a host with a user of
  /// its own or a URL ("@", "/"); and when either holds control characters.
  [[nodiscard]] static std::optional<ServerDestination> fromString(std::string_view text);
};

}  // namespace ztp
