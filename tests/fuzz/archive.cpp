// Fuzzes the unpacking of archives: nothing may appear beside the destination, a failure must leave
// nothing in it, and what an archive costs must be in proportion to its length and to what comes
// out. Costs are counted, not timed: calls of the system, bytes read, bytes allocated, items made.
#include <fcntl.h>
#include <sanitizer/allocator_interface.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "archiver/ArchiveError.h"
#include "archiver/ZipExtractor.h"
#include "tests/fuzz/Fuzzing.h"

namespace {

namespace fs = std::filesystem;

// What one extraction has cost so far.
struct Cost {
  std::atomic<std::uint64_t> calls;      // of the file system
  std::atomic<std::uint64_t> bytesRead;  // of the archive
  std::atomic<std::uint64_t> allocated;  // bytes, whether released or not
  std::atomic<std::uint64_t> items;      // directories, files and links made
};
Cost cost;

// An extraction may cost so much, whatever it is given.
constexpr std::uint64_t callsOfNothing = 64;
constexpr std::uint64_t bytesReadOfNothing = 200'000;  // the tail, twice
constexpr std::uint64_t allocatedOfNothing = 2U << 20U;
// And so much for each item, header or byte. Every header takes 76 bytes of an archive at least.
constexpr std::uint64_t callsOfItem = 16;
constexpr std::uint64_t smallestEntry = 76;
constexpr std::uint64_t allocatedOfItem = 100'000;  // a directory's buffers, when it is removed
constexpr std::uint64_t readOfByte = 4;
constexpr std::uint64_t allocatedOfByte = 64;
constexpr std::uint64_t mostItems = 300;
constexpr std::uint64_t mostExpanded = 1U << 20U;

void countAllocation(const volatile void* /*block*/, std::size_t size) {
  cost.allocated += size;
}
void countRelease(const volatile void* /*block*/) {}

}  // namespace

// The linker leads the archiver's calls through these (see CMakeLists.txt).
extern "C" {
int __real_openat(int directory, const char* name, int flags, ...);
int __real_mkdirat(int directory, const char* name, mode_t mode);
int __real_symlinkat(const char* target, int directory, const char* name);
int __real_renameat(int from, const char* old, int to, const char* name);
int __real_fstatat(int directory, const char* name, struct stat* status, int flags);
int __real_utimensat(int directory, const char* name, const timespec* times, int flags);
ssize_t __real_pread(int descriptor, void* into, std::size_t count, off_t offset);

int __wrap_openat(int directory, const char* name, int flags, unsigned mode) {
  ++cost.calls;
  const int descriptor = __real_openat(directory, name, flags, mode);
  if (descriptor >= 0 && (flags & O_CREAT) != 0) ++cost.items;
  return descriptor;
}
int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
  ++cost.calls;
  const int result = __real_mkdirat(directory, name, mode);
  if (result == 0) ++cost.items;
  return result;
}
int __wrap_symlinkat(const char* target, int directory, const char* name) {
  ++cost.calls;
  const int result = __real_symlinkat(target, directory, name);
  if (result == 0) ++cost.items;
  return result;
}
int __wrap_renameat(int from, const char* old, int to, const char* name) {
  ++cost.calls;
  return __real_renameat(from, old, to, name);
}
int __wrap_fstatat(int directory, const char* name, struct stat* status, int flags) {
  ++cost.calls;
  return __real_fstatat(directory, name, status, flags);
}
int __wrap_utimensat(int directory, const char* name, const timespec* times, int flags) {
  ++cost.calls;
  return __real_utimensat(directory, name, times, flags);
}
ssize_t __wrap_pread(int descriptor, void* into, std::size_t count, off_t offset) {
  const ssize_t result = __real_pread(descriptor, into, count, offset);
  if (result > 0) cost.bytesRead += static_cast<std::uint64_t>(result);
  return result;
}
}

namespace {

// One directory for the whole run, in memory where there is such a place.
const fs::path& playground() {
  static const fs::path path = [] {
    std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp");
    name += "/fuzz-archive.XXXXXX";
    mustHold(::mkdtemp(name.data()) != nullptr);
    mustHold(__sanitizer_install_malloc_and_free_hooks(countAllocation, countRelease) != 0);
    return fs::path(name);
  }();
  return path;
}

// The path of a file in memory that holds these bytes, one for the whole run.
const fs::path& fileOf(const std::uint8_t* bytes, std::size_t size) {
  static const int file = ::memfd_create("archive", MFD_CLOEXEC);
  static const fs::path path = "/proc/self/fd/" + std::to_string(file);
  mustHold(::ftruncate(file, 0) == 0);
  mustHold(::pwrite(file, bytes, size, 0) == static_cast<ssize_t>(size));
  return path;
}

void checkCost(std::uint64_t size) {
  const std::uint64_t items = cost.items;
  mustHold(items <= mostItems);
  mustHold(cost.calls <= callsOfNothing + callsOfItem * (items + size / smallestEntry));
  mustHold(cost.bytesRead <= bytesReadOfNothing + readOfByte * size);
  mustHold(cost.allocated <= allocatedOfNothing + allocatedOfItem * items + allocatedOfByte * size);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto destination = playground() / "destination";
  fs::remove_all(destination);
  fs::create_directory(destination);
  const fs::path& archive = fileOf(bytes, size);
  ztp::archiver::ExtractionLimits limits;
  limits.entries = mostItems;
  limits.expandedBytes = mostExpanded;
  cost.calls = cost.bytesRead = cost.allocated = cost.items = 0;
  bool isUnpacked = true;
  try {
    ztp::archiver::extractZip(archive, destination, limits);
  } catch (const ztp::archiver::ArchiveError&) {
    isUnpacked = false;
  }
  checkCost(size);
  mustHold(isUnpacked || fs::is_empty(destination));
  std::size_t beside = 0;
  for (const auto& entry : fs::directory_iterator(playground())) {
    if (entry.path() != destination) ++beside;
  }
  mustHold(beside == 0);
  return 0;
}
