// Takes a failed extraction back.
#include "archiver/ExtractionRollback.h"

#include <system_error>
#include <utility>

namespace ztp::archiver {

ExtractionRollback::ExtractionRollback(const ZipDirectory& archive,
                                       std::filesystem::path destination)
    : destination_(std::move(destination)) {
  std::string_view before;
  for (const Entry& entry : archive.entries()) {
    const std::string_view name = std::string_view(entry.name.text);
    const std::string_view top = name.substr(0, name.find('/'));
    if (top == std::exchange(before, top)) continue;
    std::error_code error;
    const auto status = std::filesystem::symlink_status(destination_ / top, error);
    if (status.type() == std::filesystem::file_type::not_found) names_.push_back(top);
  }
}

ExtractionRollback::~ExtractionRollback() {
  for (const std::string_view name : names_) {
    std::error_code ignored;
    std::filesystem::remove_all(destination_ / name, ignored);
  }
}

}  // namespace ztp::archiver
