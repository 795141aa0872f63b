// mkdtemp(3) and streams.
#include "tests/support/ScratchDirectory.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace ztp::test {

namespace fs = std::filesystem;

ScratchDirectory::ScratchDirectory() {
  std::string pattern = fs::temp_directory_path() / "scratch.XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
  path_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

fs::path ScratchDirectory::write(std::string_view name, std::string_view content) const {
  fs::path path = path_ / name;
  fs::create_directories(path.parent_path());
  fill(path, content);
  return path;
}

fs::path ScratchDirectory::write(std::string_view name,
                                 std::span<const std::uint8_t> content) const {
  return write(name,
               std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
}

std::string ScratchDirectory::read(std::string_view name) const {
  return fs::exists(path_ / name) ? contentOf(path_ / name) : "(missing)";
}

std::vector<std::string> ScratchDirectory::names() const {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path_)) {
    const bool isDirectory = entry.is_directory() && !entry.is_symlink();
    names.push_back(entry.path().lexically_relative(path_).string() + (isDirectory ? "/" : ""));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void fill(const fs::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

void appendTo(const fs::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary | std::ios::app) << content;
}

}  // namespace ztp::test
