// A folder for one test's files.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace ztp::test {

/// An empty folder that is removed with all that is in it when this object goes.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// Writes a file of that name and gives its path.
  std::filesystem::path write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path path_;
};

/// Appends to an existing file.
void appendTo(const std::filesystem::path& file, std::string_view content);

/// The whole content of a file; "" for one that does not exist.
std::string contentOf(const std::filesystem::path& file);

}  // namespace ztp::test
