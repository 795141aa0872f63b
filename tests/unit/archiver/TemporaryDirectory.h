// A directory for one test, and the few file operations that the tests of the archiver need.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ztp::test {

/// Made empty, removed with all that is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// Writes a file, in directories that are made for it.
  void write(const std::string& name, std::string_view content) const;
  /// The content of a file, "(missing)" where there is none.
  [[nodiscard]] std::string read(const std::string& name) const;
  /// Every name below the directory, sorted, directories with a slash at the end.
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::filesystem::path path_;
};

}  // namespace ztp::test
