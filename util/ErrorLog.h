// How an error is logged; for the .cpp files of this folder.
#pragma once

#include "platform/Error.h"
#include "platform/Log.h"

namespace ztp {

/// The error's description as one line; "(null)" for one without a cause to tell.
inline void logError(const Error& error) {
  logLine(error.description.empty() ? absentText : std::string_view(error.description));
}

}  // namespace ztp
