// What needs nothing but POSIX, and os-release(5).
#include "platform/SystemShared.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "platform/System.h"

namespace ztp::system {
namespace {

std::string withoutQuotes(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front()) {
    value = value.substr(1, value.size() - 2);
  }
  return std::string(value);
}

// The value of VERSION_ID (os-release(5)), empty when there is none.
std::string releaseVersion() {
  constexpr std::string_view name = "VERSION_ID=";
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with(name)) return withoutQuotes(std::string_view(line).substr(name.size()));
    }
    if (file.eof()) break;  // the first file that exists is the one that counts
  }
  return {};
}

// "6.1.0" of "6.1.0-18-amd64".
std::string kernelVersion() {
  utsname names{};
  if (::uname(&names) != 0) return {};
  const std::string_view release(names.release);
  return std::string(release.substr(0, release.find_first_not_of("0123456789.")));
}

}  // namespace

std::filesystem::path temporaryRoot() {
  const char* value = std::getenv("TMPDIR");
  const std::filesystem::path path(value ? value : "");
  return path.is_absolute() ? path : "/tmp";
}

std::optional<std::string> productVersion() {
  std::string version = releaseVersion();
  if (version.empty()) version = kernelVersion();
  if (version.empty()) return std::nullopt;
  return version.find('.') == std::string::npos ? version + ".0" : version;
}

char** environment() noexcept {
  return environ;
}

std::filesystem::path archiverPath() {
  std::error_code error;
  const auto folder = programPath().parent_path();
  auto beside = folder / "ZanburyArchiver";
  if (std::filesystem::exists(beside, error)) return beside;
  return (folder / ZTP_ARCHIVER_FROM_BINDIR).lexically_normal();
}

std::size_t bytesInPipe(int fileDescriptor) noexcept {
  int count = 0;
  return ::ioctl(fileDescriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

std::array<timespec, 2> timesOf(const struct stat& status) noexcept {
  return {status.st_atim, status.st_mtim};
}

bool cloneFile(int /*source*/, int /*directory*/, const char* /*name*/) noexcept {
  errno = ENOSYS;
  return false;
}

bool fillWithRandomBytes(void* memory, std::size_t size) noexcept {
  return ::getentropy(memory, size) == 0;
}

void keepOutOfFileCache(int fileDescriptor) noexcept {
  ::posix_fadvise(fileDescriptor, 0, 0, POSIX_FADV_NOREUSE);
}

}  // namespace ztp::system
