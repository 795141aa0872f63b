// Test folders below the system's directory for temporary files.
#include "TemporaryFolder.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include <stdlib.h>  // mkdtemp

namespace ztp::test {

TemporaryFolder::TemporaryFolder() {
  std::string name = std::filesystem::temp_directory_path() / "protocol_tests.XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryFolder::write(std::string_view name,
                                             std::string_view content) const {
  auto file = path_ / name;
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

void appendTo(const std::filesystem::path& file, std::string_view content) {
  std::ofstream(file, std::ios::binary | std::ios::app) << content;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace ztp::test
