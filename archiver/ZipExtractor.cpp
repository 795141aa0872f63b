// The order of unpacking: check all, then directories, files, links, and the directories' times.
#include "archiver/ZipExtractor.h"

#include <optional>
#include <string>
#include <utility>

#include "archiver/ArchiveBytes.h"
#include "archiver/ArchiveError.h"
#include "archiver/DestinationTree.h"
#include "archiver/EntryName.h"
#include "archiver/ExtractionRollback.h"
#include "archiver/Inflater.h"
#include "archiver/ZipDirectory.h"

namespace ztp::archiver {

namespace {

constexpr std::uint64_t maximumTargetLength = 4095;

class Extractor {
 public:
  Extractor(ArchiveBytes zip, const std::filesystem::path& destination,
            const ExtractionLimits& limits)
      : archive_(std::move(zip), limits), tree_(destination), rollback_(archive_, destination) {
    checkFreeSpace();
  }

  void run() {
    forEach(EntryKind::link, [this](const Entry& entry) { static_cast<void>(readTarget(entry)); });
    forEach(EntryKind::directory,
            [this](const Entry& entry) { tree_.makeDirectory(entry.name, entry.permissions); });
    forEach(EntryKind::file, [this](const Entry& entry) { unpackFile(entry); });
    forEach(EntryKind::link, [this](const Entry& entry) {
      tree_.makeLink(entry.name, readTarget(entry), entry.modificationTime);
    });
    forEach(EntryKind::directory, [this](const Entry& entry) {
      tree_.setDirectoryTime(entry.name, entry.modificationTime);
    });
    rollback_.commit();
  }

 private:
  // Every item takes a block at least, directories that are only implied included.
  void checkFreeSpace() const {
    const std::optional<FreeSpace> space = tree_.freeSpace();
    if (!space) return;
    const std::uint64_t blocks = archive_.items() * space->blockSize;
    if (archive_.totalSize() > space->bytes || blocks > space->bytes - archive_.totalSize() ||
        (space->items && archive_.items() > *space->items)) {
      throw ArchiveError("the archive expands to more than the disk has room for");
    }
  }

  template <typename Action>
  void forEach(EntryKind kind, Action action) {
    for (const Entry& entry : archive_.entries()) {
      if (entry.kind != kind) continue;
      try {
        action(entry);
      } catch (const ArchiveError& error) {
        throw ArchiveError("cannot unpack " + quotedName(entry.name.text) + ": " + error.what());
      }
    }
  }

  void unpackFile(const Entry& entry) {
    PendingFile file = tree_.beginFile(entry.name, entry.permissions);
    inflater_.run(entry, archive_.open(entry),
                  [&file](std::span<const std::uint8_t> bytes) { file.write(bytes); });
    tree_.put(std::move(file), entry.modificationTime);
  }

  // The target of a link that may be made.
  [[nodiscard]] std::string readTarget(const Entry& entry) {
    if (entry.size > maximumTargetLength) throw ArchiveError("its link target is not a valid name");
    std::string target;
    inflater_.run(entry, archive_.open(entry), [&target](std::span<const std::uint8_t> bytes) {
      target.append(bytes.begin(), bytes.end());
    });
    checkLinkTarget(entry.name, target);
    return target;
  }

  ZipDirectory archive_;
  DestinationTree tree_;
  ExtractionRollback rollback_;
  Inflater inflater_;
};

}  // namespace

void extractZip(const std::filesystem::path& zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits) {
  Extractor(ArchiveBytes(zip), destination, limits).run();
}

void extractZip(std::span<const std::uint8_t> zip, const std::filesystem::path& destination,
                const ExtractionLimits& limits) {
  Extractor(ArchiveBytes(zip), destination, limits).run();
}

}  // namespace ztp::archiver
