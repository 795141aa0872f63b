// What the code under test and its children write to standard error.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace ztp::test {

/// Standard error goes into a file of its own while this object lives.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  /// Everything written so far.
  [[nodiscard]] std::string text() const;

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  int standardError_;
};

}  // namespace ztp::test
