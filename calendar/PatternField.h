// PatternField: one piece of a compiled date pattern. Not installed.
#pragma once

#include <string>

namespace ztp {

/// One letter with its width, or a text that stands for itself.
struct PatternField {
  char letter = '\0';  // 0 for a literal text
  int width = 0;
  std::string literal;
};

}  // namespace ztp
