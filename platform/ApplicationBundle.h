// What an application bundle says about itself.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/PropertyList.h"

namespace ztp {

/// The bundle at a path: its information list is Contents/Info.plist or Info.plist below it.
class ApplicationBundle {
 public:
  /// For a path that holds no bundle, every question is answered with an empty text.
  explicit ApplicationBundle(const std::filesystem::path& path);

  /// "CFBundleIdentifier", empty when there is none.
  [[nodiscard]] std::string bundleIdentifier() const;
  /// A text of the information list, empty when it is missing or not a text.
  [[nodiscard]] std::string objectForInfoDictionaryKey(std::string_view key) const;

 private:
  std::optional<PropertyList> information_;
};

}  // namespace ztp
