// Puts the records together, number by number.
#include "archiver/EntryHeaders.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "archiver/DosTime.h"
#include "archiver/ZipFields.h"

namespace ztp::archiver {

namespace {

constexpr std::uint64_t madeBy = systemUnix << 8U | 63U;  // version 6.3 of the APPNOTE
constexpr std::uint64_t needsDeflate = 20;
constexpr std::uint64_t needsZip64 = 45;

// From this size on a file's compressed bytes could be too many for 32 bits: deflate stores what
// does not shrink, and that takes 5 bytes for each 65,535 at the most.
constexpr std::uint64_t zip64Threshold = 4'200'000'000;

class Record {
 public:
  Record& text(std::string_view text) {
    for (const char c : text) bytes_.push_back(static_cast<std::uint8_t>(c));
    return *this;
  }
  Record& number(std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
      bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return *this;
  }
  Record& append(Bytes bytes) {
    for (const std::uint8_t byte : bytes) bytes_.push_back(byte);
    return *this;
  }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0; });
}

std::string entryName(const TreeItem& item) {
  return S_ISDIR(item.identity.mode) ? item.name + "/" : item.name;
}

// The fields that both headers share, from the version to the checksum.
void appendCommon(Record& record, const TreeItem& item, const Content& content, bool isZip64) {
  const bool isMarked = !isAscii(item.name) && isUtf8(item.name);
  const DosTime time = toDosTime(item.identity.modified.tv_sec);
  record.number(isZip64 ? needsZip64 : needsDeflate, 2)
      .number(isMarked ? flagUtf8 : 0, 2)
      .number(content.isDeflated ? methodDeflated : methodStored, 2)
      .number(time.time, 2)
      .number(time.date, 2)
      .number(content.crc, 4);
}

// The extra field of the modification time, empty where it cannot be told.
std::vector<std::uint8_t> timeField(const TreeItem& item) {
  const std::int64_t seconds = item.identity.modified.tv_sec;
  if (seconds < 0 || seconds > latestUnixTime) return {};
  const UnixTimeField field = unixTimeField(static_cast<std::uint32_t>(seconds));
  return Record().number(unixTimeId, 2).number(field.size(), 2).append(field).take();
}

// The Zip64 extra field of these values, empty where there are none.
std::vector<std::uint8_t> zip64Field(const std::vector<std::uint64_t>& values) {
  if (values.empty()) return {};
  Record record;
  record.number(zip64Id, 2).number(8 * values.size(), 2);
  for (const std::uint64_t value : values) record.number(value, 8);
  return record.take();
}

}  // namespace

std::vector<std::uint8_t> localHeader(const TreeItem& item, const Content& content) {
  const bool isZip64 = content.size >= zip64Threshold;
  const std::string name = entryName(item);
  std::vector<std::uint64_t> large;
  if (isZip64) large = {content.size, content.compressedSize};
  const std::vector<std::uint8_t> zip64 = zip64Field(large);
  const std::vector<std::uint8_t> time = timeField(item);
  Record record;
  record.text(localMagic);
  appendCommon(record, item, content, isZip64);
  return record.number(isZip64 ? full32 : content.compressedSize, 4)
      .number(isZip64 ? full32 : content.size, 4)
      .number(name.size(), 2)
      .number(zip64.size() + time.size(), 2)
      .text(name)
      .append(zip64)
      .append(time)
      .take();
}

std::vector<std::uint8_t> centralHeader(const TreeItem& item, const Content& content) {
  const std::string name = entryName(item);
  std::vector<std::uint64_t> large;
  for (const std::uint64_t value : {content.size, content.compressedSize, content.localOffset}) {
    if (value >= full32) large.push_back(value);
  }
  const std::vector<std::uint8_t> zip64 = zip64Field(large);
  const std::vector<std::uint8_t> time = timeField(item);
  const std::uint64_t attributes = std::uint64_t{item.identity.mode} << unixModeShift |
                                   (S_ISDIR(item.identity.mode) ? dosDirectory : 0);
  Record record;
  record.text(centralMagic).number(madeBy, 2);
  appendCommon(record, item, content, !large.empty() || content.size >= zip64Threshold);
  return record.number(std::min(content.compressedSize, full32), 4)
      .number(std::min(content.size, full32), 4)
      .number(name.size(), 2)
      .number(zip64.size() + time.size(), 2)
      .number(0, 2)  // comment
      .number(0, 2)  // disk
      .number(0, 2)  // internal attributes
      .number(attributes, 4)
      .number(std::min(content.localOffset, full32), 4)
      .text(name)
      .append(zip64)
      .append(time)
      .take();
}

std::vector<std::uint8_t> endRecords(std::uint64_t entries, std::uint64_t offset,
                                     std::uint64_t size) {
  Record record;
  if (entries >= full16 || offset >= full32 || size >= full32) {
    record.text(end64Magic).number(end64Size - end64Uncounted, 8).number(madeBy, 2);
    record.number(needsZip64, 2).number(0, 4).number(0, 4).number(entries, 8).number(entries, 8);
    record.number(size, 8).number(offset, 8);
    record.text(locatorMagic).number(0, 4).number(offset + size, 8).number(1, 4);
  }
  const std::uint64_t counted = std::min(entries, full16);
  record.text(endMagic).number(0, 2).number(0, 2).number(counted, 2).number(counted, 2);
  return record.number(std::min(size, full32), 4)
      .number(std::min(offset, full32), 4)
      .number(0, 2)  // comment
      .take();
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byteAt(0);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length > text.size() || (lead >= 0x80 && lead < 0xC2) || lead > 0xF4) return false;
    for (std::size_t i = 1; i < length; ++i) {
      if ((byteAt(i) & 0xC0U) != 0x80) return false;
    }
    // The second byte tells longer forms than needed, surrogates and what lies over U+10FFFF.
    const unsigned second = length > 1 ? byteAt(1) : 0;
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace ztp::archiver
