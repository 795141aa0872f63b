// The end of the process as an exception, which is no std::exception so that nothing catches it on
// its way to the test.
#pragma once

namespace ztp::test {

/// Raised where the program would have ended.
struct ProcessEnded {
  int status = 0;
};

}  // namespace ztp::test
