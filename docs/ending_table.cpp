// Prints the table of endings as the manual page shows it (mdoc(7)), for scripts/endings.
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "app/Ending.h"

namespace {

// A line of mdoc begins with "." only for a request.
void print(const ztp::Ending& ending) {
  fmt::print(".It Li {}\n", ending.code);
  if (!ending.reason.empty()) fmt::print(".Dq {}\n.br\n", ending.reason);
  fmt::print("{}\n", ending.meaning);
}

}  // namespace

int main() {
  for (const auto& ending : ztp::allEndings()) print(ending);
  return 0;
}
