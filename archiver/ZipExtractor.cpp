// The order of unpacking: check all, then directories, files, links, and the directories' times.
#include "archiver/ZipExtractor.h"

#include <optional>
#include <string>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/DestinationTree.h"
#include "archiver/EntryName.h"
#include "archiver/Inflater.h"
#include "archiver/LibzipHandle.h"
#include "archiver/UnpackedItems.h"
#include "archiver/ZipDirectory.h"

namespace ztp::archiver {

namespace {

constexpr std::uint64_t kLongestTarget = 4095;

class Extractor {
 public:
  Extractor(ZipDirectory archive, const std::filesystem::path& destination)
      : archive_(std::move(archive)), tree_(destination), unpacked_(archive_, destination) {
    const std::optional<std::uint64_t> free = tree_.freeBytes();
    if (free && archive_.totalSize() > *free) {
      throw ArchiveError("the archive expands to more than the disk has room for");
    }
  }

  void run() {
    forEach(EntryKind::link, [this](const Entry& entry) { static_cast<void>(readTarget(entry)); });
    forEach(EntryKind::directory, [this](const Entry& entry) {
      tree_.makeDirectory(entry.name, entry.permissions, entry.modificationTime);
    });
    forEach(EntryKind::file, [this](const Entry& entry) { unpackFile(entry); });
    forEach(EntryKind::link, [this](const Entry& entry) {
      tree_.makeLink(entry.name, readTarget(entry), entry.modificationTime);
    });
    tree_.setDirectoryTimes();
    unpacked_.keep();
  }

 private:
  template <typename Action>
  void forEach(EntryKind kind, Action action) {
    for (const Entry& entry : archive_.entries()) {
      if (entry.kind != kind) continue;
      try {
        action(entry);
      } catch (const ArchiveError& error) {
        throw ArchiveError("cannot unpack " + shown(entry.name.text()) + ": " + error.what());
      }
    }
  }

  void unpackFile(const Entry& entry) {
    PendingFile file = tree_.beginFile(entry.name, entry.permissions);
    inflater_.run(entry, archive_.openRaw(entry),
                  [&file](std::span<const std::uint8_t> bytes) { file.write(bytes); });
    tree_.put(std::move(file), entry.modificationTime);
  }

  /// The target of a link that may be made.
  [[nodiscard]] std::string readTarget(const Entry& entry) {
    if (entry.size > kLongestTarget) throw ArchiveError("it is a link to no valid name");
    std::string target;
    inflater_.run(entry, archive_.openRaw(entry), [&target](std::span<const std::uint8_t> bytes) {
      target.append(bytes.begin(), bytes.end());
    });
    checkLinkTarget(entry.name, target);
    return target;
  }

  ZipDirectory archive_;
  DestinationTree tree_;
  UnpackedItems unpacked_;
  Inflater inflater_;
};

}  // namespace

void extractZip(const std::filesystem::path& zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits) {
  Extractor(ZipDirectory(fileSource(zip), limits), destination).run();
}

void extractZip(std::span<const std::uint8_t> zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits) {
  Extractor(ZipDirectory(bufferSource(zip), limits), destination).run();
}

}  // namespace ztp::archiver
