// Writes a tree's items one after the other, then the directory and the end.
#include "archiver/ZipWriter.h"

#include <libdeflate.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "archiver/ArchiveError.h"
#include "archiver/EntryHeaders.h"
#include "archiver/PackedFile.h"
#include "archiver/ParallelDeflate.h"
#include "archiver/TreeScan.h"
#include "archiver/ZipFields.h"
#include "archiver/ZipSink.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t pieceSize = std::size_t{64} << 10U;

class Writer {
 public:
  Writer(const Tree& tree, const std::filesystem::path& zip)
      : tree_(tree), piece_(pieceSize), sink_(zip) {
    contents_.reserve(tree.items.size());
  }

  void add(const TreeItem& item) {
    const mode_t mode = item.identity.mode;
    if (S_ISLNK(mode)) {
      contents_.push_back(store(item, linkTarget(item)));
    } else if (S_ISDIR(mode) || item.identity.size == 0) {
      contents_.push_back(store(item, {}));
    } else {
      contents_.push_back(deflate(item));
    }
  }

  void finish() {
    const std::uint64_t offset = sink_.position();
    for (std::size_t i = 0; i < contents_.size(); ++i) {
      sink_.write(centralHeader(tree_.items[i], contents_[i]));
    }
    sink_.write(endRecords(contents_.size(), offset, sink_.position() - offset));
    sink_.commit();
  }

 private:
  [[nodiscard]] Content store(const TreeItem& item, const std::string& text) {
    const Bytes bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    const Content content{sink_.position(), bytes.size(), bytes.size(),
                          libdeflate_crc32(0, bytes.data(), bytes.size()), false};
    sink_.write(localHeader(item, content));
    sink_.write(bytes);
    return content;
  }

  // The sizes and the checksum are known when the bytes are written: the header is written again.
  [[nodiscard]] Content deflate(const TreeItem& item) {
    PackedFile file(tree_.pathOf(item), item.identity, pool_);
    Content content{sink_.position(), 0, item.identity.size, 0, true};
    sink_.write(localHeader(item, content));
    while (const std::size_t count = file.read(piece_)) {
      sink_.write(Bytes(piece_).first(count));
      content.compressedSize += count;
    }
    content.crc = file.crc();
    sink_.overwrite(content.localOffset, localHeader(item, content));
    return content;
  }

  [[nodiscard]] std::string linkTarget(const TreeItem& item) const {
    const std::filesystem::path path = tree_.pathOf(item);
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) throw systemError("cannot read " + quotedName(path.native()), error.value());
    return target.native();
  }

  const Tree& tree_;
  BlockPool pool_;
  std::vector<Content> contents_;  // of the tree's items, in their order
  std::vector<std::uint8_t> piece_;
  ZipSink sink_;
};

}  // namespace

void createZip(const std::filesystem::path& directory, const std::filesystem::path& zip) {
  const Tree tree = scanTree(directory);
  Writer writer(tree, zip);
  for (const TreeItem& item : tree.items) writer.add(item);
  writer.finish();
}

}  // namespace ztp::archiver
