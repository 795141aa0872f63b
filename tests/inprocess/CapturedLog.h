// Standard error in memory.
#pragma once

#include <string>

namespace ztp::test {

/// Standard error goes into memory while this object lives.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  /// Everything written so far.
  [[nodiscard]] std::string text() const;

 private:
  int memory_;
  int standardError_;
};

}  // namespace ztp::test
