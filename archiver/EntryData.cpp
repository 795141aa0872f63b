// A window that moves over an entry's bytes.
#include "archiver/EntryData.h"

#include <algorithm>
#include <array>

#include "archiver/ArchiveError.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

EntryData::EntryData(const ArchiveBytes& archive, std::uint64_t localOffset, std::uint64_t size)
    : archive_(archive), left_(size) {
  std::array<std::uint8_t, localSize> header{};
  if (archive.read(localOffset, header) != header.size() || !hasMagic(header, 0, localMagic)) {
    throw ArchiveError("its bytes are not where the archive says");
  }
  offset_ = localOffset + localSize + numberAt(header, 26, 2) + numberAt(header, 28, 2);
}

std::size_t EntryData::read(std::span<std::uint8_t> into) {
  into = into.first(static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), left_)));
  if (archive_.read(offset_, into) != into.size()) throw ArchiveError("its data ends too early");
  offset_ += into.size();
  left_ -= into.size();
  return into.size();
}

}  // namespace ztp::archiver
