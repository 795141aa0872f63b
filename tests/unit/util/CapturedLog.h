// What the program and its children write to standard error while a test looks.
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace ztp::test {

/// From its making to `text()`, or its end, standard error goes into a file of its own.
class CapturedLog {
 public:
  CapturedLog() : file_(std::tmpfile()), original_(::dup(STDERR_FILENO)) {
    ::dup2(::fileno(file_), STDERR_FILENO);
  }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog() {
    restore();
    static_cast<void>(std::fclose(file_));
  }

  /// All that was written; standard error is itself again.
  std::string text() {
    restore();
    std::string result;
    std::array<char, 4096> piece{};
    std::rewind(file_);
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file_)) {
      result.append(piece.data(), count);
    }
    return result;
  }

 private:
  void restore() {
    if (original_ == -1) return;
    ::dup2(original_, STDERR_FILENO);
    ::close(original_);
    original_ = -1;
  }

  std::FILE* file_;
  int original_;
};

}  // namespace ztp::test
