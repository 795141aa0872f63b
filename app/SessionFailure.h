// How a step that fails ends the session.
#pragma once

#include <optional>
#include <string>

#include "platform/Error.h"

namespace ztp {

/// Raised by a step or a part of the session that cannot go on; the session turns it into its abort
/// procedure, whose arguments these are. Each may be absent. It is no std::exception: whoever
/// handles the failure of an operation does not handle the end of the session.
struct SessionFailure {
  std::optional<std::string> reason = std::nullopt;
  MaybeError error = std::nullopt;
  std::optional<PlatformException> exception = std::nullopt;
  bool userDidCancel = false;
};

}  // namespace ztp
