// By descriptor: the log writes to it without any stream.
#include "tests/inprocess/CapturedLog.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ztp::test {

CapturedLog::CapturedLog()
    : memory_(::memfd_create("log", MFD_CLOEXEC)),
      standardError_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  ::dup2(memory_, STDERR_FILENO);
}

CapturedLog::~CapturedLog() {
  ::dup2(standardError_, STDERR_FILENO);
  ::close(standardError_);
  ::close(memory_);
}

std::string CapturedLog::text() const {
  struct stat status {};
  ::fstat(memory_, &status);
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const auto count = ::pread(memory_, text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace ztp::test
