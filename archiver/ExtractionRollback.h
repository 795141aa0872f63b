// What an extraction adds to the top of its destination, so that a failed one can be taken back.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

#include "archiver/ZipDirectory.h"

namespace ztp::archiver {

/// The archive's top-level names of which there is nothing in the destination yet. Unless `commit`
/// is called they are removed again with all that is in them: who finds such a directory may trust
/// that the whole archive was unpacked.
class ExtractionRollback {
 public:
  /// `archive` must outlive this.
  ExtractionRollback(const ZipDirectory& archive, std::filesystem::path destination);
  ExtractionRollback(const ExtractionRollback&) = delete;
  ExtractionRollback& operator=(const ExtractionRollback&) = delete;
  ~ExtractionRollback();

  /// The extraction is whole.
  void commit() noexcept { names_.clear(); }

 private:
  std::filesystem::path destination_;
  std::vector<std::string_view> names_;  // of the archive's entries
};

}  // namespace ztp::archiver
