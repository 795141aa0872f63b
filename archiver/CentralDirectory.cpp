// One buffer moves over the directory; a header lies in it as a whole.
#include "archiver/CentralDirectory.h"

#include <libdeflate.h>

#include <algorithm>
#include <utility>

#include "archiver/ArchiveError.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

namespace {

// Room for the longest name, extra field and comment at once.
constexpr std::size_t bufferSize = std::size_t{256} << 10U;
constexpr std::size_t extraHeaderSize = 4;

[[nodiscard]] ArchiveError brokenDirectory() {
  return ArchiveError("the archive's directory is broken");
}

// The bytes of the first extra field with this id. A field that is cut short does not count.
std::optional<Bytes> extraField(Bytes extra, std::uint16_t id) {
  while (extra.size() >= extraHeaderSize) {
    const auto length = static_cast<std::size_t>(numberAt(extra, 2, 2));
    if (length > extra.size() - extraHeaderSize) return std::nullopt;
    if (numberAt(extra, 0, 2) == id) return extra.subspan(extraHeaderSize, length);
    extra = extra.subspan(extraHeaderSize + length);
  }
  return std::nullopt;
}

// Takes a value that has no room in the header from the front of the Zip64 field.
void widen(std::uint64_t& value, Bytes& zip64) {
  if (value != full32) return;
  if (zip64.size() < 8) throw ArchiveError("its Zip64 field is missing");
  value = numberAt(zip64, 0, 8);
  zip64 = zip64.subspan(8);
}

// The name in a path field (Info-ZIP writes one where its own character set is another), if it was
// made for this name.
std::optional<std::string> unicodePath(Bytes extra, Bytes name) {
  constexpr std::size_t headSize = 5;
  const std::optional<Bytes> field = extraField(extra, unicodePathId);
  if (!field || field->size() <= headSize || field->front() != 1) return std::nullopt;
  if (numberAt(*field, 1, 4) != libdeflate_crc32(0, name.data(), name.size())) return std::nullopt;
  return std::string(field->begin() + headSize, field->end());
}

void readName(CentralHeader& header, Bytes name, Bytes extra) {
  std::optional<std::string> path;
  if ((header.flags & flagUtf8) == 0) path = unicodePath(extra, name);
  header.name = path ? std::move(*path) : std::string(name.begin(), name.end());
}

CentralHeader readFixed(Bytes fixed) {
  CentralHeader header;
  header.system = static_cast<unsigned>(numberAt(fixed, 5, 1));
  header.flags = static_cast<unsigned>(numberAt(fixed, 8, 2));
  header.method = static_cast<unsigned>(numberAt(fixed, 10, 2));
  header.dosTime = {static_cast<std::uint16_t>(numberAt(fixed, 12, 2)),
                    static_cast<std::uint16_t>(numberAt(fixed, 14, 2))};
  header.crc = static_cast<std::uint32_t>(numberAt(fixed, 16, 4));
  header.compressedSize = numberAt(fixed, 20, 4);
  header.size = numberAt(fixed, 24, 4);
  header.attributes = static_cast<std::uint32_t>(numberAt(fixed, 38, 4));
  header.localOffset = numberAt(fixed, 42, 4);
  return header;
}

void readExtra(CentralHeader& header, Bytes extra) {
  Bytes zip64 = extraField(extra, zip64Id).value_or(Bytes{});
  widen(header.size, zip64);
  widen(header.compressedSize, zip64);
  widen(header.localOffset, zip64);
  if (const auto time = extraField(extra, unixTimeId)) header.unixTime = modificationTime(*time);
}

}  // namespace

CentralDirectory::CentralDirectory(const ArchiveBytes& archive, const DirectoryLocation& location)
    : archive_(archive), offset_(location.offset), left_(location.size) {}

std::optional<CentralHeader> CentralDirectory::next() {
  if (unread_.empty() && left_ == 0) return std::nullopt;
  const Bytes fixed = take(centralSize);
  if (!hasMagic(fixed, 0, centralMagic)) throw brokenDirectory();
  CentralHeader header = readFixed(fixed);
  const auto nameLength = static_cast<std::size_t>(numberAt(fixed, 28, 2));
  const auto extraLength = static_cast<std::size_t>(numberAt(fixed, 30, 2));
  const auto commentLength = static_cast<std::size_t>(numberAt(fixed, 32, 2));
  const Bytes rest = take(nameLength + extraLength + commentLength);
  const Bytes extra = rest.subspan(nameLength, extraLength);
  readName(header, rest.first(nameLength), extra);
  readExtra(header, extra);
  return header;
}

// The next bytes of the directory, to be used before the next call.
Bytes CentralDirectory::take(std::size_t count) {
  if (count > unread_.size()) fill(count);
  const Bytes taken = unread_.first(count);
  unread_ = unread_.subspan(count);
  return taken;
}

// Makes the buffer begin with what is unread and reads on behind it.
void CentralDirectory::fill(std::size_t count) {
  const auto more = static_cast<std::size_t>(
      std::min<std::uint64_t>(left_, std::max(bufferSize, count) - unread_.size()));
  std::vector<std::uint8_t> buffer(unread_.size() + more);
  std::copy(unread_.begin(), unread_.end(), buffer.begin());
  if (buffer.size() < count ||
      archive_.read(offset_, std::span(buffer).subspan(unread_.size())) != more) {
    throw brokenDirectory();
  }
  offset_ += more;
  left_ -= more;
  buffer_ = std::move(buffer);
  unread_ = buffer_;
}

}  // namespace ztp::archiver
