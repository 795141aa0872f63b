// A directory for one test, and the file operations that tests need.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ztp::test {

/// Made empty below the system's directory for temporary files, removed with all that is in it.
class ScratchDirectory {
 public:
  /// Throws std::runtime_error when it cannot be made.
  ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// The path of an item in it.
  [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
    return path_ / name;
  }

  /// Writes a file, in directories that are made for it; returns its path.
  std::filesystem::path write(std::string_view name, std::string_view content) const;
  std::filesystem::path write(std::string_view name, std::span<const std::uint8_t> content) const;
  /// The content of a file, "(missing)" where there is none.
  [[nodiscard]] std::string read(std::string_view name) const;
  /// Every name below the directory, sorted, directories with a slash at the end.
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::filesystem::path path_;
};

/// The whole content of a file; "" for one that does not exist.
std::string contentOf(const std::filesystem::path& path);

/// Makes the content of a file, new or old, be this one.
void fill(const std::filesystem::path& path, std::string_view content);

/// Appends to an existing file.
void appendTo(const std::filesystem::path& path, std::string_view content);

}  // namespace ztp::test
