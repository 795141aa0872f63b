// ErrorLog: one line, one write.
#include "calendar/ErrorLog.h"

#include <cstdio>
#include <string>

namespace ztp {

void logErrorLine(std::string_view line) {
  std::string text(line);
  text += '\n';
  // Standard error is unbuffered: this is one write. There is nobody left to tell if it fails.
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace ztp
