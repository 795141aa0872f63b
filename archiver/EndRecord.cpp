// Finds and judges the end records in an archive's tail.
#include "archiver/EndRecord.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

#include "archiver/ArchiveError.h"
#include "archiver/LibzipHandle.h"

namespace ztp::archiver {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kEndSize = 22;
constexpr std::size_t kLocatorSize = 20;
constexpr std::size_t kEnd64Size = 56;
// libzip looks for end records in this much of the tail.
constexpr std::size_t kTailSize =
    kLocatorSize + kEndSize + std::numeric_limits<std::uint16_t>::max();

constexpr std::string_view kEndMagic = "PK\5\6";
constexpr std::string_view kLocatorMagic = "PK\6\7";
constexpr std::string_view kEnd64Magic = "PK\6\6";
constexpr std::string_view kCentralMagic = "PK\1\2";

std::uint64_t littleEndian(Bytes bytes, std::size_t offset, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = width; i > 0; --i) value = value << 8U | bytes[offset + i - 1];
  return value;
}

bool hasMagic(Bytes bytes, std::size_t offset, std::string_view magic) {
  return bytes.size() >= offset + magic.size() &&
         std::equal(magic.begin(), magic.end(),
                    bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

/// A source that is open as long as this lives.
class OpenSource {
 public:
  explicit OpenSource(zip_source_t* source) : source_(source) {
    if (zip_source_open(source_) != 0) throw failure();
    zip_stat_t status;
    zip_stat_init(&status);
    if (zip_source_stat(source_, &status) == 0 && (status.valid & ZIP_STAT_SIZE) != 0) {
      size_ = status.size;
    }
  }
  OpenSource(const OpenSource&) = delete;
  OpenSource& operator=(const OpenSource&) = delete;
  ~OpenSource() { zip_source_close(source_); }

  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// The bytes at `offset`, fewer than `count` where the archive ends.
  [[nodiscard]] std::vector<std::uint8_t> read(std::uint64_t offset, std::size_t count) const {
    // libzip 1.7.3 falls over when it seeks to the end of a buffer that is empty.
    if (offset >= size_) return {};
    if (zip_source_seek(source_, static_cast<zip_int64_t>(offset), SEEK_SET) != 0) throw failure();
    std::vector<std::uint8_t> bytes(
        static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset)));
    const zip_int64_t got = zip_source_read(source_, bytes.data(), bytes.size());
    if (got < 0) throw failure();
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
  }

 private:
  [[nodiscard]] ArchiveError failure() const {
    return zipError("cannot read the archive", zip_source_error(source_));
  }

  zip_source_t* source_;
  std::uint64_t size_ = 0;
};

class Tail {
 public:
  Tail(const OpenSource& source, const ExtractionLimits& limits)
      : source_(source), limits_(limits), size_(source.size()) {
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size_, kTailSize));
    bytes_ = source_.read(size_ - length, length);
  }

  [[nodiscard]] std::uint64_t check() const {
    std::vector<std::size_t> ends;
    bool hasStray = false;
    for (std::size_t offset = 0; offset + kEndSize <= bytes_.size(); ++offset) {
      if (!hasMagic(bytes_, offset, kEndMagic)) continue;
      if (reachesEnd(offset)) {
        ends.push_back(offset);
      } else {
        hasStray = hasStray || couldBeMeant(offset);
      }
    }
    if (ends.empty() && hasStray) throw ArchiveError("the archive's end is broken");
    if (ends.empty()) throw ArchiveError("this is no zip archive, or its end is missing");
    if (ends.size() > 1 || hasStray) throw ArchiveError("the archive has more than one end");
    checkClaims(ends.front());
    return size_;
  }

 private:
  [[nodiscard]] bool reachesEnd(std::size_t offset) const {
    return offset + kEndSize + littleEndian(bytes_, offset + 20, 2) == bytes_.size();
  }

  [[nodiscard]] bool hasLocator(std::size_t end) const {
    return end >= kLocatorSize && hasMagic(bytes_, end - kLocatorSize, kLocatorMagic);
  }

  /// Whether libzip could take a stray record, of an archive inside this one say, for the real one:
  /// it has a locator, or nothing to locate, or entries are where it says.
  [[nodiscard]] bool couldBeMeant(std::size_t end) const {
    const std::uint64_t directorySize = littleEndian(bytes_, end + 12, 4);
    const std::uint64_t directory = littleEndian(bytes_, end + 16, 4);
    return hasLocator(end) || directorySize == 0 ||
           hasMagic(source_.read(directory, kCentralMagic.size()), 0, kCentralMagic);
  }

  void checkClaims(std::size_t end) const {
    checkClaim(littleEndian(bytes_, end + 8, 2), littleEndian(bytes_, end + 10, 2),
               hasLocator(end) ? 0 : littleEndian(bytes_, end + 12, 4));
    if (!hasLocator(end)) return;
    const std::uint64_t offset = littleEndian(bytes_, end - kLocatorSize + 8, 8);
    const std::vector<std::uint8_t> end64 = source_.read(offset, kEnd64Size);
    if (end64.size() != kEnd64Size || !hasMagic(end64, 0, kEnd64Magic)) {
      throw ArchiveError("the archive's Zip64 end is missing");
    }
    checkClaim(littleEndian(end64, 24, 8), littleEndian(end64, 32, 8), littleEndian(end64, 40, 8));
  }

  /// 0xFFFF entries in an old end record stand for the count in the Zip64 one: it is checked there.
  void checkClaim(std::uint64_t here, std::uint64_t all, std::uint64_t directorySize) const {
    const auto isTooMany = [this](std::uint64_t entries) {
      return entries > limits_.entries && entries != std::numeric_limits<std::uint16_t>::max();
    };
    if (isTooMany(here) || isTooMany(all)) throw ArchiveError("the archive has too many entries");
    if (directorySize > limits_.directoryBytes) {
      throw ArchiveError("the archive's directory is too large");
    }
  }

  const OpenSource& source_;
  const ExtractionLimits& limits_;
  std::uint64_t size_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

std::uint64_t checkEndRecord(zip_source_t* source, const ExtractionLimits& limits) {
  const OpenSource open(source);
  return Tail(open, limits).check();
}

}  // namespace ztp::archiver
