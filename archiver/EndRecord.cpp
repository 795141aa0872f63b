// Finds and judges the end records in an archive's tail.
#include "archiver/EndRecord.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

// An end record, its comment and the zeros behind it lie within this much of the archive's tail. A
// locator may stand before it.
constexpr std::size_t tailSize = locatorSize + endSize + full16;

// What an end record of either form says.
struct Claims {
  std::uint64_t disk;
  std::uint64_t directoryDisk;
  std::uint64_t entriesHere;
  std::uint64_t entries;
  std::uint64_t size;
  std::uint64_t offset;
};

Claims readEnd(Bytes end) {
  return {numberAt(end, 4, 2),  numberAt(end, 6, 2),  numberAt(end, 8, 2),
          numberAt(end, 10, 2), numberAt(end, 12, 4), numberAt(end, 16, 4)};
}

Claims readEnd64(Bytes end64) {
  return {numberAt(end64, 16, 4), numberAt(end64, 20, 4), numberAt(end64, 24, 8),
          numberAt(end64, 32, 8), numberAt(end64, 40, 8), numberAt(end64, 48, 8)};
}

// Whether a field of the old record leaves the word to the Zip64 end, or says the same.
bool agrees(std::uint64_t field, std::uint64_t full, std::uint64_t value64) {
  return field == full || field == value64;
}

bool agree(const Claims& old, const Claims& end64) {
  return agrees(old.disk, full16, end64.disk) &&
         agrees(old.directoryDisk, full16, end64.directoryDisk) &&
         agrees(old.entriesHere, full16, end64.entriesHere) &&
         agrees(old.entries, full16, end64.entries) && agrees(old.size, full32, end64.size) &&
         agrees(old.offset, full32, end64.offset);
}

class Tail {
 public:
  explicit Tail(const ArchiveBytes& archive) : archive_(archive) {
    bytes_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(archive.size(), tailSize)));
    start_ = archive.size() - bytes_.size();
    if (archive.read(start_, bytes_) != bytes_.size()) {
      throw ArchiveError("the archive became shorter while it was read");
    }
  }

  [[nodiscard]] DirectoryLocation find(const ExtractionLimits& limits) const {
    const std::size_t end = lastEnd();
    if (!isFollowedByZeros(end)) throw ArchiveError("the archive's end is broken");
    Claims claims = readEnd(from(end));
    std::uint64_t directoryEnd = start_ + end;
    const std::optional<std::uint64_t> end64 = locateEnd64(end);
    if (end64) {
      const Claims old = claims;
      claims = readEnd64(recordAt(*end64, end));
      if (!agree(old, claims)) throw ArchiveError("the archive's two ends disagree");
      directoryEnd = *end64;
    }
    checkOthers(end, claims.offset);
    check(claims, directoryEnd, limits);
    return {claims.offset, claims.size, claims.entries, end64.has_value()};
  }

 private:
  [[nodiscard]] Bytes from(std::size_t offset) const { return Bytes(bytes_).subspan(offset); }

  [[nodiscard]] std::size_t lastEnd() const {
    const std::size_t first = start_ == 0 ? 0 : locatorSize;
    for (std::size_t offset = bytes_.size(); offset-- > first;) {
      if (isEnd(offset)) return offset;
    }
    throw ArchiveError("this is not a zip archive, or its end is missing");
  }

  [[nodiscard]] bool isEnd(std::size_t offset) const {
    return bytes_.size() - offset >= endSize && hasMagic(bytes_, offset, endMagic);
  }

  // Where the record's comment ends, in the tail or behind it.
  [[nodiscard]] std::size_t commentEnd(std::size_t end) const {
    return end + endSize + numberAt(bytes_, end + endSize - 2, 2);
  }

  [[nodiscard]] bool isFollowedByZeros(std::size_t end) const {
    if (commentEnd(end) > bytes_.size()) return false;
    const Bytes rest = from(commentEnd(end));
    return std::all_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return byte == 0; });
  }

  [[nodiscard]] bool hasLocator(std::size_t end) const {
    return end >= locatorSize && hasMagic(bytes_, end - locatorSize, locatorMagic);
  }

  // The offset that the locator before `end` gives for the Zip64 end; none without a locator.
  [[nodiscard]] std::optional<std::uint64_t> locateEnd64(std::size_t end) const {
    if (!hasLocator(end)) return std::nullopt;
    const Bytes locator = from(end - locatorSize);
    if (numberAt(locator, 4, 4) != 0 || numberAt(locator, 16, 4) > 1) {
      throw ArchiveError("the archive is one of several parts");
    }
    return numberAt(locator, 8, 8);
  }

  [[nodiscard]] std::array<std::uint8_t, end64Size> recordAt(std::uint64_t offset,
                                                             std::size_t end) const {
    const std::uint64_t locator = start_ + end - locatorSize;
    std::array<std::uint8_t, end64Size> record{};
    if (archive_.read(offset, record) != record.size() || !hasMagic(record, 0, end64Magic)) {
      throw ArchiveError("the archive's Zip64 end is missing");
    }
    const std::uint64_t size = numberAt(record, 4, 8);
    if (offset > locator || size != locator - offset - end64Uncounted ||
        size < end64Size - end64Uncounted) {
      throw ArchiveError("the archive's Zip64 end is broken");
    }
    return record;
  }

  static void check(const Claims& claims, std::uint64_t directoryEnd,
                    const ExtractionLimits& limits) {
    if (claims.entries > limits.entries || claims.entriesHere > limits.entries) {
      throw ArchiveError("the archive has too many entries");
    }
    if (claims.size > limits.directoryBytes) {
      throw ArchiveError("the archive's directory is too large");
    }
    if (claims.disk != 0 || claims.directoryDisk != 0 || claims.entriesHere != claims.entries) {
      throw ArchiveError("the archive is one of several parts");
    }
    if (claims.size > directoryEnd || claims.offset != directoryEnd - claims.size) {
      throw ArchiveError("the archive's directory is not where its end says");
    }
  }

  // Refuses an archive in which another reader could take another record for the end.
  void checkOthers(std::size_t end, std::uint64_t directory) const {
    for (std::size_t other = 0; other < end; ++other) {
      if (!isEnd(other)) continue;
      const bool reachesEnd =
          commentEnd(other) >= commentEnd(end) && commentEnd(other) <= bytes_.size();
      if (reachesEnd || (start_ + other >= directory && leadsToDirectory(other))) {
        throw ArchiveError("the archive has more than one end");
      }
    }
  }

  // Whether a record could be the end of an archive: of an empty one, one with a Zip64 end, or one
  // with a directory where it says. (What a file's name happens to hold is none of these.)
  [[nodiscard]] bool leadsToDirectory(std::size_t end) const {
    const Claims claims = readEnd(from(end));
    std::array<std::uint8_t, centralMagic.size()> magic{};
    if (hasLocator(end)) return true;
    if (claims.disk != 0 || claims.directoryDisk != 0) return false;
    return claims.size == 0 || (archive_.read(claims.offset, magic) == magic.size() &&
                                hasMagic(magic, 0, centralMagic));
  }

  const ArchiveBytes& archive_;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t start_ = 0;  // offset of the tail in the archive
};

}  // namespace

bool DirectoryLocation::announces(std::uint64_t count) const {
  return entries == (isZip64 ? count : count % (full16 + 1));
}

DirectoryLocation findDirectory(const ArchiveBytes& archive, const ExtractionLimits& limits) {
  return Tail(archive).find(limits);
}

}  // namespace ztp::archiver
