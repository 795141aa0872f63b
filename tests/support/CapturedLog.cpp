// Standard error is redirected by descriptor: the log writes to it without any stream.
#include "tests/support/CapturedLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

namespace ztp::test {

CapturedLog::CapturedLog()
    : file_(std::tmpfile(), &std::fclose),
      standardError_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  if (!file_ || standardError_ < 0) throw std::runtime_error("standard error cannot be captured");
  ::fcntl(::fileno(file_.get()), F_SETFD, FD_CLOEXEC);
  ::dup2(::fileno(file_.get()), STDERR_FILENO);
}

CapturedLog::~CapturedLog() {
  ::dup2(standardError_, STDERR_FILENO);
  ::close(standardError_);
}

std::string CapturedLog::text() const {
  struct stat status {};
  ::fstat(::fileno(file_.get()), &status);
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const auto count = ::pread(::fileno(file_.get()), text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace ztp::test
