// ErrorHandler: where the library's few lines for an operator go. They are
//   ERROR: Timestamp is not a valid date: …   each time an instant that is not noon UTC is used as
//   a
//                                             date where dates are coerced (ZDateUtilities.h)
//   ERROR: Unknown time zone: …               the first time that TZ names a zone that is not there
#pragma once

#include <string_view>

#include "calendar/Export.h"

namespace ztp {

/// Takes one line, without a line feed. It may be called by any thread, also by several at once,
/// and must neither throw nor call the library with what the line complains of.
using ErrorHandler = void (*)(std::string_view line);

/// Hands all further lines to the handler instead of standard error, for instance to a program's
/// own log or to nobody; a null pointer brings standard error back. Returns the handler before,
/// null at first. Safe from any thread.
ZANBURY_CALENDAR_API ErrorHandler setErrorHandler(ErrorHandler handler);

}  // namespace ztp
