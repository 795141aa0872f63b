// What Linux provides.
#include "platform/System.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace ztp::system {
namespace {

constexpr int wantedPipeCapacity = 1'048'576;

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

std::filesystem::path archiverPath() {
  std::error_code error;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  auto beside = folder / "ZanburyArchiver";
  if (std::filesystem::exists(beside, error)) return beside;
  return (folder / ZTP_ARCHIVER_FROM_BINDIR).lexically_normal();
}

void disableCoreDumps() {
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  ::prctl(PR_SET_DUMPABLE, 0);
}

void dieWithParent(int parent) noexcept {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);
}

void closeOnExecAbove(int lastKept) noexcept {
  ::close_range(static_cast<unsigned>(lastKept) + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

void enlargePipe(int fileDescriptor) noexcept {
  ::fcntl(fileDescriptor, F_SETPIPE_SZ, wantedPipeCapacity);
}

std::size_t bytesInPipe(int fileDescriptor) noexcept {
  int count = 0;
  return ::ioctl(fileDescriptor, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

std::optional<std::size_t> copyInKernel(int source, int destination, std::size_t maximum) noexcept {
  ssize_t copied = 0;
  do {
    copied = ::copy_file_range(source, nullptr, destination, nullptr, maximum, 0);
  } while (copied < 0 && errno == EINTR);
  if (copied < 0) return std::nullopt;
  return static_cast<std::size_t>(copied);
}

bool hasInheritedAttributes(int directory) noexcept {
  struct stat status {};
  if (::fstat(directory, &status) != 0 || (status.st_mode & S_ISGID) != 0) return true;
  // acl(5): the access list that new files start with.
  if (::fgetxattr(directory, "system.posix_acl_default", nullptr, 0) >= 0) return true;
  return errno != ENODATA && errno != ENOTSUP;
}

int searchOnlyFlag() noexcept {
  return O_PATH;
}

bool exchangeNames(int directory, const char* name, const char* other) noexcept {
  return ::renameat2(directory, name, directory, other, RENAME_EXCHANGE) == 0;
}

bool fillWithRandomBytes(void* memory, std::size_t size) noexcept {
  return ::getentropy(memory, size) == 0;
}

void keepOutOfFileCache(int fileDescriptor) noexcept {
  ::posix_fadvise(fileDescriptor, 0, 0, POSIX_FADV_NOREUSE);
}

}  // namespace ztp::system
