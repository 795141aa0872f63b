// Processes that are not children of this one.
#pragma once

#include <cstdint>

namespace ztp {

/// True when there is certainly no process of that number.
[[nodiscard]] bool isProcessGone(std::int64_t processIdentifier) noexcept;

}  // namespace ztp
