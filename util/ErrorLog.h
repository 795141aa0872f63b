// How an error that may be absent is logged; for the .cpp files of this folder.
#pragma once

#include <optional>

#include "platform/Error.h"
#include "platform/Log.h"

namespace ztp {

/// The error's description as one line, or "(null)".
inline void logError(const std::optional<Error>& error) {
  logLine(error ? std::string_view(error->description) : absentText);
}

}  // namespace ztp
