// Turns the list of a tree into entries of an archive; libzip writes them when it closes.
#include "archiver/ZipWriter.h"

#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <limits>
#include <list>
#include <string>
#include <system_error>

#include "archiver/ArchiveError.h"
#include "archiver/LibzipCallback.h"
#include "archiver/LibzipHandle.h"
#include "archiver/PackedFile.h"
#include "archiver/ParallelDeflate.h"
#include "archiver/TreeScan.h"
#include "archiver/ZipFields.h"
#include "archiver/ZipSink.h"

namespace ztp::archiver {

namespace {

/// The latest time that the DOS form can tell, in any zone: the last day but one of 2107.
constexpr std::time_t kLatestDosTime = 4354646400;

class Writer {
 public:
  explicit Writer(const std::filesystem::path& zip)
      : sink_(zip, failure_), archive_(openArchive(sink_.source(), ZIP_CREATE | ZIP_TRUNCATE)) {}

  void add(const TreeItem& item) {
    const zip_int64_t index = addEntry(item);
    if (index < 0) {
      throw ArchiveError("cannot pack " + shown(item.name) + ": " + zip_strerror(archive_.get()));
    }
    describe(static_cast<zip_uint64_t>(index), item.status);
  }

  void finish() {
    if (zip_close(archive_.get()) != 0) {
      failure_.rethrow();
      throw zipError("cannot write the archive", zip_get_error(archive_.get()));
    }
    static_cast<void>(archive_.release());
  }

 private:
  [[nodiscard]] zip_int64_t addEntry(const TreeItem& item) {
    if (S_ISDIR(item.status.st_mode)) {
      return zip_dir_add(archive_.get(), item.name.c_str(), ZIP_FL_ENC_UTF_8);
    }
    if (S_ISLNK(item.status.st_mode)) return addStored(item, linkTarget(item));
    if (item.status.st_size == 0) return addStored(item, {});
    files_.emplace_back(item, pool_, failure_);
    return addSource(item, files_.back().source());
  }

  [[nodiscard]] zip_int64_t addStored(const TreeItem& item, std::string content) {
    contents_.push_back(std::move(content));
    const std::string& kept = contents_.back();
    ZipSourceHandle source(zip_source_buffer(archive_.get(), kept.data(), kept.size(), 0));
    const zip_int64_t index = source ? addSource(item, std::move(source)) : -1;
    const auto entry = static_cast<zip_uint64_t>(index);
    if (index < 0 || zip_set_file_compression(archive_.get(), entry, ZIP_CM_STORE, 0) != 0) {
      return -1;
    }
    return index;
  }

  [[nodiscard]] zip_int64_t addSource(const TreeItem& item, ZipSourceHandle source) {
    const zip_int64_t index =
        zip_file_add(archive_.get(), item.name.c_str(), source.get(), ZIP_FL_ENC_UTF_8);
    if (index >= 0) static_cast<void>(source.release());
    return index;
  }

  [[nodiscard]] static std::string linkTarget(const TreeItem& item) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(item.path, error);
    if (error) throw systemError("cannot read " + shown(item.path.native()), error.value());
    return target.native();
  }

  /// Mode and time, as Unix archivers write them.
  void describe(zip_uint64_t index, const struct stat& status) {
    const zip_uint32_t attributes = (static_cast<zip_uint32_t>(status.st_mode) << kUnixModeShift) |
                                    (S_ISDIR(status.st_mode) ? kDosDirectory : 0);
    const auto dosTime = std::clamp<std::time_t>(status.st_mtime, 0, kLatestDosTime);
    bool done = zip_file_set_external_attributes(archive_.get(), index, 0, ZIP_OPSYS_UNIX,
                                                 attributes) == 0 &&
                zip_file_set_mtime(archive_.get(), index, dosTime, 0) == 0;
    if (done && status.st_mtime >= 0 && status.st_mtime <= kLatestUnixTime) {
      const UnixTimeField field = unixTimeField(static_cast<std::uint32_t>(status.st_mtime));
      done = zip_file_extra_field_set(archive_.get(), index, kUnixTimeId, ZIP_EXTRA_FIELD_NEW,
                                      field.data(), static_cast<zip_uint16_t>(field.size()),
                                      ZIP_FL_LOCAL | ZIP_FL_CENTRAL) == 0;
    }
    if (!done) throw zipError("cannot describe an entry", zip_get_error(archive_.get()));
  }

  // What libzip refers to until it has closed the archive stands before the archive.
  CallbackFailure failure_;
  BlockPool pool_;
  std::list<PackedFile> files_;
  std::list<std::string> contents_;
  ZipSink sink_;
  ZipHandle archive_;
};

}  // namespace

void createZip(const std::filesystem::path& directory, const std::filesystem::path& zip) {
  const std::vector<TreeItem> items = scanTree(directory);
  Writer writer(zip);
  for (const TreeItem& item : items) writer.add(item);
  writer.finish();
}

}  // namespace ztp::archiver
