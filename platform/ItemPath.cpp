// Paths taken apart.
#include "platform/ItemPath.h"

#include "platform/Error.h"

namespace ztp {

std::filesystem::path withoutTrailingSlashes(const std::filesystem::path& path) {
  std::string text = path.native();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

ItemPath::ItemPath(const std::filesystem::path& path) {
  const auto stripped = withoutTrailingSlashes(path);
  parent = stripped.parent_path();
  name = stripped.filename();
  if (name.empty() || name == "." || name == "..") {
    throw PlatformException('"' + path.string() + "\" does not name an item of a directory");
  }
}

}  // namespace ztp
