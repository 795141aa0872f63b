// Reads the central directory through libzip. The local headers are not compared with it: only the
// central directory is ever used, and libzip's own comparison (ZIP_CHECKCONS) keeps every local
// extra field in memory, 64 KiB an entry if the archive so wishes.
#include "archiver/ZipDirectory.h"

#include <sys/stat.h>

#include <algorithm>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/EndRecord.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

namespace {

// A match of 258 bytes takes two bits at the least.
constexpr std::uint64_t kMostBytesPerByte = 1032;
constexpr std::uint64_t kLocalHeaderSize = 30;
constexpr unsigned kPermissionBits = 0777;
constexpr unsigned kFilePermissions = 0644;
constexpr unsigned kDirectoryPermissions = 0755;
// The owner must be able to read what was unpacked, and to remove it.
constexpr unsigned kOwnerReads = 0400;
constexpr unsigned kOwnerUses = 0700;

constexpr zip_uint64_t kNeeded =
    ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD;

[[nodiscard]] ArchiveError refusal(std::string_view name, const std::string& why) {
  return ArchiveError("cannot unpack " + shown(name) + ": " + why);
}

void checkSizes(const Entry& entry) {
  if (entry.isDeflated ? entry.size / kMostBytesPerByte > entry.compressedSize
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

/// Sums that must stay within the archive and the limits.
class Budget {
 public:
  Budget(std::uint64_t archiveSize, const ExtractionLimits& limits)
      : archiveLeft_(archiveSize), expandedLeft_(limits.expandedBytes) {}

  void take(const Entry& entry) {
    if (entry.compressedSize > archiveLeft_ ||
        kLocalHeaderSize > archiveLeft_ - entry.compressedSize) {
      throw ArchiveError("the entries overlap, or the archive is cut short");
    }
    archiveLeft_ -= entry.compressedSize + kLocalHeaderSize;
    if (entry.size > expandedLeft_) throw ArchiveError("the archive expands to too much");
    expandedLeft_ -= entry.size;
  }

 private:
  std::uint64_t archiveLeft_;
  std::uint64_t expandedLeft_;
};

}  // namespace

ZipDirectory::ZipDirectory(ZipSourceHandle source, const ExtractionLimits& limits) {
  Budget budget(checkEndRecord(source.get(), limits), limits);
  archive_ = openArchive(std::move(source), ZIP_RDONLY);
  const zip_int64_t count = zip_get_num_entries(archive_.get(), 0);
  if (count < 0 || static_cast<std::uint64_t>(count) > limits.entries) {
    throw ArchiveError("the archive has too many entries");
  }
  std::unordered_set<std::string> names;
  for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index) {
    const char* name = zip_get_name(archive_.get(), index, ZIP_FL_ENC_GUESS);
    if (name == nullptr) throw zipError("cannot read a name", zip_get_error(archive_.get()));
    try {
      Entry entry = readEntry(index, name);
      if (!names.insert(entry.name.text()).second) throw ArchiveError("it is there twice");
      budget.take(entry);
      totalSize_ += entry.size;
      entries_.push_back(std::move(entry));
    } catch (const ArchiveError& error) {
      throw refusal(name, error.what());
    }
  }
}

Entry ZipDirectory::readEntry(zip_uint64_t index, const char* name) {
  zip_stat_t status;
  zip_stat_init(&status);
  if (zip_stat_index(archive_.get(), index, 0, &status) != 0 ||
      (status.valid & kNeeded) != kNeeded) {
    throw ArchiveError("its entry is broken");
  }
  if ((status.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && status.encryption_method != ZIP_EM_NONE) {
    throw ArchiveError("it is encrypted");
  }
  if (status.comp_method != ZIP_CM_STORE && status.comp_method != ZIP_CM_DEFLATE) {
    throw ArchiveError("its compression method is not supported");
  }
  Entry entry;
  entry.index = index;
  entry.name = parseEntryName(name);
  entry.isDeflated = status.comp_method == ZIP_CM_DEFLATE;
  entry.compressedSize = status.comp_size;
  entry.size = status.size;
  entry.crc = status.crc;
  readAttributes(entry);
  readModificationTime(entry, status);
  checkSizes(entry);
  return entry;
}

void ZipDirectory::readAttributes(Entry& entry) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(archive_.get(), entry.index, 0, &system, &attributes) != 0) {
    throw zipError("its attributes are broken", zip_get_error(archive_.get()));
  }
  const bool hasMode = system == ZIP_OPSYS_UNIX || system == ZIP_OPSYS_OS_X;
  const unsigned mode = hasMode ? attributes >> kUnixModeShift : 0;
  entry.kind = kindOf(mode & S_IFMT, entry.name.isDirectory);
  if (entry.name.components.empty() && entry.kind != EntryKind::directory) {
    throw ArchiveError("it would replace the destination");
  }
  const bool isDirectory = entry.kind == EntryKind::directory;
  const unsigned usual = isDirectory ? kDirectoryPermissions : kFilePermissions;
  entry.permissions =
      (mode == 0 ? usual : mode & kPermissionBits) | (isDirectory ? kOwnerUses : kOwnerReads);
}

void ZipDirectory::readModificationTime(Entry& entry, const zip_stat_t& status) {
  zip_uint16_t length = 0;
  const zip_uint8_t* field = zip_file_extra_field_get_by_id(
      archive_.get(), entry.index, kUnixTimeId, 0, &length, ZIP_FL_CENTRAL);
  if (field != nullptr) entry.modificationTime = modificationTime(std::span(field, length));
  if (!entry.modificationTime && (status.valid & ZIP_STAT_MTIME) != 0) {
    entry.modificationTime = status.mtime;
  }
}

ZipFileHandle ZipDirectory::openRaw(const Entry& entry) {
  ZipFileHandle file(zip_fopen_index(archive_.get(), entry.index, ZIP_FL_COMPRESSED));
  if (!file) throw zipError("cannot be read", zip_get_error(archive_.get()));
  return file;
}

}  // namespace ztp::archiver
