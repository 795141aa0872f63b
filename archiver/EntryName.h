// Names of archive entries and targets of archived links, read with suspicion: nothing that passes
// here names anything outside the directory that an archive is unpacked into.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ztp::archiver {

/// A relative name.
struct EntryName {
  /// Its components, joined by single slashes; none is empty, "." or "..". The name of the
  /// destination itself is empty.
  std::string text;
  bool isDirectory = false;  ///< written with a slash at the end

  /// All but the last component, without the slash behind it.
  [[nodiscard]] std::string_view parent() const;
  /// The last component.
  [[nodiscard]] std::string_view last() const;
};

/// Reads an entry's name. "." and doubled slashes mean nothing and are dropped. Throws ArchiveError
/// for an empty or an absolute name, "..", a NUL, more than maximumDepth components, a component
/// over 255 bytes and a name over 4,095 bytes. All other bytes are taken as they are, whatever they
/// mean to a terminal or to another system: whether two names that differ in case or in Unicode
/// normalisation are one is for the file system to say.
[[nodiscard]] EntryName parseEntryName(std::string_view name);

/// How many components `text` has, the text of a name.
[[nodiscard]] std::size_t depthOf(std::string_view text);

/// The length of the leading components that two texts of names share, without a slash at the end.
[[nodiscard]] std::size_t sharedLength(std::string_view a, std::string_view b);

/// An order of texts of names in which each directory comes right before all that lies in it, so
/// that each directory is met once.
[[nodiscard]] bool comesBefore(std::string_view a, std::string_view b);

/// Throws ArchiveError unless `target` is a target that `link` may have: relative, of 1 to 4,095
/// bytes without NUL, with ".." at its beginning only and not so often that it leaves the top-level
/// directory that the link lies in. A link that lies in no directory has no "..".
///
/// A target of this form stays inside whichever other links it leads through: ".." is applied to
/// the link's real directory, and everything after it leads down.
void checkLinkTarget(const EntryName& link, std::string_view target);

}  // namespace ztp::archiver
