// Fuzzes the unpacking of archives: nothing may appear beside the destination, and a failure must
// leave nothing in it.
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>

#include "archiver/ArchiveError.h"
#include "archiver/ZipExtractor.h"
#include "tests/fuzz/Fuzzing.h"

namespace {

namespace fs = std::filesystem;

// One directory for the whole run, in memory where there is such a place.
const fs::path& playground() {
  static const fs::path path = [] {
    std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp");
    name += "/fuzz-archive.XXXXXX";
    mustHold(::mkdtemp(name.data()) != nullptr);
    return fs::path(name);
  }();
  return path;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto destination = playground() / "destination";
  fs::remove_all(destination);
  fs::create_directory(destination);
  ztp::archiver::ExtractionLimits limits;
  limits.expandedBytes = 1U << 20U;
  try {
    ztp::archiver::extractZip(std::span(bytes, size), destination, limits);
  } catch (const ztp::archiver::ArchiveError&) {
    mustHold(fs::is_empty(destination));
  }
  std::size_t beside = 0;
  for (const auto& entry : fs::directory_iterator(playground())) {
    if (entry.path() != destination) ++beside;
  }
  mustHold(beside == 0);
  return 0;
}
