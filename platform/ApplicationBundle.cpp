// Reads a bundle's information list.
#include "platform/ApplicationBundle.h"

namespace ztp {

ApplicationBundle::ApplicationBundle(const std::filesystem::path& path)
    : information_(PropertyList::fromFile(path / "Contents" / "Info.plist")) {
  if (!information_) information_ = PropertyList::fromFile(path / "Info.plist");
}

std::string ApplicationBundle::bundleIdentifier() const {
  return objectForInfoDictionaryKey("CFBundleIdentifier");
}

std::string ApplicationBundle::objectForInfoDictionaryKey(std::string_view key) const {
  try {
    return information_ ? information_->string(key).value_or("") : "";
  } catch (const PlatformException&) {
    return {};
  }
}

}  // namespace ztp
