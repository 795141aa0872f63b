// ErrorLog: one line, one write, or one call of the program's handler.
#include "calendar/ErrorLog.h"

#include <atomic>
#include <cstdio>
#include <string>

#include "calendar/ErrorHandler.h"

namespace ztp {

namespace {

constinit std::atomic<ErrorHandler> currentHandler = nullptr;

}  // namespace

ErrorHandler setErrorHandler(ErrorHandler handler) {
  return currentHandler.exchange(handler);
}

void logErrorLine(std::string_view line) {
  if (const ErrorHandler handler = currentHandler.load()) return handler(line);
  std::string text(line);
  text += '\n';
  // Standard error is unbuffered: this is one write. There is nobody left to tell if it fails.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace ztp
