// An unpacked result in a private directory, a host's directory, and what a test says about them.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "app/Delivery.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {

/// What a directory holds: relative paths, and the content of a file, "-> target" or "directory".
using Listing = std::map<std::string, std::string>;

inline std::string describe(const std::filesystem::path& path) {
  const auto status = std::filesystem::symlink_status(path);
  if (std::filesystem::is_symlink(status)) {
    return "-> " + std::filesystem::read_symlink(path).string();
  }
  return std::filesystem::is_directory(status) ? "directory" : contentOf(path);
}

inline Listing listing(const std::filesystem::path& directory) {
  Listing result;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    result[entry.path().lexically_relative(directory)] = describe(entry.path());
  }
  return result;
}

inline unsigned modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

class DeliveryFixture : public testing::Test {
 protected:
  DeliveryFixture() {
    std::filesystem::create_directories(result / "Logs");
    std::filesystem::create_directory(host);
    fill(work / "identity", "private");
    fill(work / "config", "private");
  }

  /// Makes a file with the directories above it.
  static void put(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    fill(path, content);
  }

  /// A file like this one is not shared with the host, but copied.
  void keepAnotherName(const std::filesystem::path& path) {
    std::filesystem::create_hard_link(path, work / ("other " + path.filename().string()));
  }

  [[nodiscard]] Delivery delivery(InterruptCheck check = [] {}) const {
    return Delivery(work, std::move(check));
  }

  /// The abort's two lines; empty when all went well.
  static std::string said(const std::optional<Delivery::Failure>& failure) {
    return failure ? std::string(failure->reason) + "\n" + failure->error.description : "";
  }

  ScratchDirectory scratch;
  const std::filesystem::path work = scratch / "work";
  const std::filesystem::path result = work / "OutputArchive";
  const std::filesystem::path host = scratch / "host";
};

}  // namespace ztp::test
