// What the code under test writes to standard error.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace ztp::test {

/// Standard error goes into a file of its own while this object lives.
class LogCapture {
 public:
  LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

  /// Everything written so far.
  [[nodiscard]] std::string text() const;

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  int standardError_;
};

}  // namespace ztp::test
