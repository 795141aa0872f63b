// Names of archive entries and targets of archived links, read with suspicion: nothing that passes
// here names anything outside the directory that an archive is unpacked into.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ztp::archiver {

/// The most components a name may have, packed or unpacked.
inline constexpr std::size_t kMaximumDepth = 100;

/// A relative name, taken apart.
struct EntryName {
  std::vector<std::string> components;  ///< none is empty, "." or ".."
  bool isDirectory = false;             ///< written with a slash at the end

  /// The components joined by slashes.
  [[nodiscard]] std::string text() const;
};

/// Reads an entry's name. "." and doubled slashes say nothing and are dropped; a name of nothing
/// else is the destination itself and has no components. Throws ArchiveError for an empty or an
/// absolute name, "..", a backslash (a separator to others), more than kMaximumDepth components, a
/// component over 255 bytes and a name over 4,095 bytes. Letters are taken as they are: whether two
/// names that differ in case or in Unicode normalisation are one is the file system's to say.
[[nodiscard]] EntryName parseEntryName(std::string_view name);

/// Throws ArchiveError unless `target` is a target that `link` may have: relative, of 1 to 4,095
/// bytes without NUL, with ".." at its beginning only and not so often that it leaves the top-level
/// directory that the link lies in. A link that lies in no directory has no "..".
///
/// A target of this form stays inside whichever other links it leads through: ".." is applied to
/// the link's real directory, and everything after it leads down.
void checkLinkTarget(const EntryName& link, std::string_view target);

}  // namespace ztp::archiver
