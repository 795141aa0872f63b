// Standard error is redirected by descriptor: the log writes to it without any stream.
#include "LogCapture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace ztp::test {

LogCapture::LogCapture()
    : file_(std::tmpfile(), &std::fclose), standardError_(::dup(STDERR_FILENO)) {
  ::dup2(::fileno(file_.get()), STDERR_FILENO);
}

LogCapture::~LogCapture() {
  ::dup2(standardError_, STDERR_FILENO);
  ::close(standardError_);
}

std::string LogCapture::text() const {
  struct stat status {};
  ::fstat(::fileno(file_.get()), &status);
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const auto count = ::pread(::fileno(file_.get()), text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace ztp::test
