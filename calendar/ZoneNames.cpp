// TimeZone: the names of all zone files that the system has.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "calendar/TimeZone.h"

namespace ztp {

namespace {

namespace fs = std::filesystem;

// The folder in which named zones are looked up.
fs::path zoneFolder() {
  const char* const setting = std::getenv("TZDIR");
  return setting && *setting != '\0' ? setting : "/usr/share/zoneinfo";
}

// Whether a file begins as RFC 8536 has it.
bool isZoneFile(const fs::path& path) {
  std::array<char, 4> magic{};
  std::ifstream file(path, std::ios::binary);
  return file.read(magic.data(), magic.size()) && std::string_view(magic.data(), 4) == "TZif";
}

// Second copies of all zones, and files that are not places: what is in them is there by its name.
bool isLeftOut(const std::string& name) {
  return name == "posix" || name == "right" || name == "localtime" || name == "posixrules" ||
         name == "Factory" || name.find('.') != std::string::npos;
}

}  // namespace

std::vector<std::string> TimeZone::availableNames() {
  std::vector<std::string> names;
  const fs::path folder = zoneFolder();
  std::error_code error;
  fs::recursive_directory_iterator at(folder, error);
  for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
    std::error_code ignored;
    if (isLeftOut(at->path().filename().string())) {
      at.disable_recursion_pending();
    } else if (at->is_regular_file(ignored) && isZoneFile(at->path())) {
      names.push_back(at->path().lexically_relative(folder).generic_string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ztp
