// The registry of all ways in which a session ends: what machines are told beside the words that
// people read. scripts/update-man-page makes the table of the manual page from it.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace ztp {

/// One way in which a session ends.
struct Ending {
  /// Stable: lower case, words joined by "-".
  std::string_view code;
  /// The reason that is logged, or how it begins where it goes on ("..."); empty where there is
  /// none.
  std::string_view reason;
  /// What it means, in one sentence.
  std::string_view meaning;
};

/// Endings that no reason tells apart.
namespace ending {
inline constexpr std::string_view converted = "converted";
inline constexpr std::string_view toolFailed = "tool-failed";
inline constexpr std::string_view resultUnreadable = "result-unreadable";
inline constexpr std::string_view connectionLost = "connection-lost";
inline constexpr std::string_view serverError = "server-error";
inline constexpr std::string_view systemError = "system-error";
}  // namespace ending

/// Every ending, in the order in which a session comes to them.
[[nodiscard]] std::span<const Ending> allEndings();

/// The code of an abort with that reason; "system-error" without one and for any other.
[[nodiscard]] std::string_view codeForReason(const std::optional<std::string_view>& reason);

}  // namespace ztp
