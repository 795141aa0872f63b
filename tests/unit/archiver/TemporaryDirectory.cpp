// Files of a test, below the system's temporary directory.
#include "tests/unit/archiver/TemporaryDirectory.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace ztp::test {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = fs::temp_directory_path() / "archiver_test.XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  fs::remove_all(path_, error);
}

void TemporaryDirectory::write(const std::string& name, std::string_view content) const {
  fs::create_directories((path_ / name).parent_path());
  std::ofstream(path_ / name, std::ios::binary) << content;
}

std::string TemporaryDirectory::read(const std::string& name) const {
  std::ifstream file(path_ / name, std::ios::binary);
  if (!file) return "(missing)";
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> TemporaryDirectory::names() const {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path_)) {
    const bool isDirectory = entry.is_directory() && !entry.is_symlink();
    names.push_back(entry.path().lexically_relative(path_).string() + (isDirectory ? "/" : ""));
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ztp::test
