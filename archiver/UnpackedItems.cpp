// Takes a failed extraction back.
#include "archiver/UnpackedItems.h"

#include <system_error>
#include <utility>

namespace ztp::archiver {

UnpackedItems::UnpackedItems(const ZipDirectory& archive, std::filesystem::path destination)
    : destination_(std::move(destination)) {
  for (const Entry& entry : archive.entries()) {
    if (entry.name.components.empty()) continue;
    const std::string& name = entry.name.components.front();
    std::error_code error;
    const auto status = std::filesystem::symlink_status(destination_ / name, error);
    if (status.type() == std::filesystem::file_type::not_found) names_.insert(name);
  }
}

UnpackedItems::~UnpackedItems() {
  for (const std::string& name : names_) {
    std::error_code ignored;
    std::filesystem::remove_all(destination_ / name, ignored);
  }
}

}  // namespace ztp::archiver
