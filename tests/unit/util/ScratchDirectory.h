// A directory of a test's own, with the verbs that file tests need.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/Data.h"

namespace ztp::test {

/// Removed with all it holds when the test ends.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "util_tests.XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Writes a file of that name; gives its path.
  [[nodiscard]] std::filesystem::path write(std::string_view name, DataView content) const {
    auto path = path_ / name;
    std::ofstream file(path, std::ios::binary);
    file << textOf(content);
    return path;
  }

 private:
  std::filesystem::path path_;
};

/// The whole content of a file, as text.
inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace ztp::test
