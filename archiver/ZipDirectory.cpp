// Judges the headers of the central directory. The local headers are not compared with it: only the
// central directory is ever used.
#include "archiver/ZipDirectory.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/EndRecord.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

namespace {

// A match of 258 bytes takes two bits at the least.
constexpr std::uint64_t maximumExpansion = 1032;
constexpr unsigned permissionBits = 0777;
constexpr unsigned filePermissions = 0644;
constexpr unsigned directoryPermissions = 0755;
// The owner must be able to read what was unpacked, and to remove it.
constexpr unsigned ownerReads = 0400;
constexpr unsigned ownerUses = 0700;

[[nodiscard]] ArchiveError refusal(std::string_view name, const std::string& why) {
  return ArchiveError("cannot unpack " + quotedName(name) + ": " + why);
}

void checkSizes(const Entry& entry) {
  if (entry.isDeflated ? entry.size / maximumExpansion > entry.compressedSize
                       : entry.size != entry.compressedSize) {
    throw ArchiveError("it claims a size that it cannot have");
  }
  if (entry.kind == EntryKind::directory && entry.size != 0) {
    throw ArchiveError("it is a directory with content");
  }
}

EntryKind kindOf(unsigned type, bool isDirectoryByName) {
  const EntryKind byName = isDirectoryByName ? EntryKind::directory : EntryKind::file;
  if (type == 0) return byName;
  if (type == S_IFDIR) return EntryKind::directory;
  if (type == S_IFREG) return byName;
  if (type == S_IFLNK && !isDirectoryByName) return EntryKind::link;
  throw ArchiveError("it is neither a file nor a directory nor a link");
}

void readMode(Entry& entry, const CentralHeader& header) {
  const bool hasMode = header.system == systemUnix || header.system == systemMac;
  const unsigned mode = hasMode ? header.attributes >> unixModeShift : 0;
  entry.kind = kindOf(mode & S_IFMT, entry.name.isDirectory);
  if (entry.name.text.empty() && entry.kind != EntryKind::directory) {
    throw ArchiveError("it would replace the destination");
  }
  const bool isDirectory = entry.kind == EntryKind::directory;
  const unsigned usual = isDirectory ? directoryPermissions : filePermissions;
  entry.permissions =
      (mode == 0 ? usual : mode & permissionBits) | (isDirectory ? ownerUses : ownerReads);
}

Entry readEntry(const CentralHeader& header) {
  if ((header.flags & flagEncrypted) != 0) throw ArchiveError("it is encrypted");
  if (header.method != methodStored && header.method != methodDeflated) {
    throw ArchiveError("its compression method is not supported");
  }
  Entry entry;
  entry.name = parseEntryName(header.name);
  entry.isDeflated = header.method == methodDeflated;
  entry.localOffset = header.localOffset;
  entry.compressedSize = header.compressedSize;
  entry.size = header.size;
  entry.crc = header.crc;
  entry.modificationTime = header.unixTime ? *header.unixTime : fromDosTime(header.dosTime);
  readMode(entry, header);
  checkSizes(entry);
  return entry;
}

// Sums that must stay within the archive and the limits.
class Budget {
 public:
  Budget(std::uint64_t archiveSize, const ExtractionLimits& limits)
      : archiveLeft_(archiveSize), expandedLeft_(limits.expandedBytes) {}

  void take(const Entry& entry) {
    if (entry.compressedSize > archiveLeft_ || localSize > archiveLeft_ - entry.compressedSize) {
      throw ArchiveError("the entries overlap, or the archive is cut short");
    }
    archiveLeft_ -= entry.compressedSize + localSize;
    if (entry.size > expandedLeft_) throw ArchiveError("the archive expands to too many bytes");
    expandedLeft_ -= entry.size;
  }

 private:
  std::uint64_t archiveLeft_;
  std::uint64_t expandedLeft_;
};

}  // namespace

ZipDirectory::ZipDirectory(ArchiveBytes archive, const ExtractionLimits& limits)
    : archive_(std::move(archive)) {
  readEntries(findDirectory(archive_, limits), limits);
  std::sort(entries_.begin(), entries_.end(),
            [](const Entry& a, const Entry& b) { return comesBefore(a.name.text, b.name.text); });
  countItems(limits);
}

void ZipDirectory::readEntries(const DirectoryLocation& location, const ExtractionLimits& limits) {
  Budget budget(archive_.size(), limits);
  CentralDirectory directory(archive_, location);
  while (const std::optional<CentralHeader> header = directory.next()) {
    if (entries_.size() == limits.entries) throw ArchiveError("the archive has too many entries");
    try {
      Entry entry = readEntry(*header);
      budget.take(entry);
      totalSize_ += entry.size;
      entries_.push_back(std::move(entry));
    } catch (const ArchiveError& error) {
      throw refusal(header->name, error.what());
    }
  }
  if (!location.announces(entries_.size())) {
    throw ArchiveError("the archive has more entries than it announces, or fewer");
  }
}

// Each entry adds the components that it does not share with the one before it: every directory is
// counted once, whether an entry stands for it or not. (Comparing neighbours in order has no worst
// case as a table of hashes has, for which an attacker chooses the names.)
void ZipDirectory::countItems(const ExtractionLimits& limits) {
  std::string_view before;
  bool isFirst = true;
  for (const Entry& entry : entries_) {
    const std::string_view name = entry.name.text;
    if (!isFirst && name == before) throw refusal(name, "it is there twice");
    items_ += depthOf(name) - depthOf(name.substr(0, sharedLength(before, name)));
    before = name;
    isFirst = false;
  }
  if (items_ > limits.entries) throw ArchiveError("the archive has too many directories");
}

EntryData ZipDirectory::open(const Entry& entry) const {
  return {archive_, entry.localOffset, entry.compressedSize};
}

}  // namespace ztp::archiver
