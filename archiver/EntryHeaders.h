// The records of an archive that is written (ZipFields.h), as bytes.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "archiver/TreeScan.h"

namespace ztp::archiver {

/// What is known of an entry once its content is written.
struct Content {
  std::uint64_t localOffset = 0;
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;
  std::uint32_t crc = 0;
  bool isDeflated = false;  ///< else stored
};

/// The local header. Its length depends on `item` and `size` alone: one with the sizes and the
/// checksum that turned out fits over one without.
[[nodiscard]] std::vector<std::uint8_t> localHeader(const TreeItem& item, const Content& content);

/// The central header.
[[nodiscard]] std::vector<std::uint8_t> centralHeader(const TreeItem& item, const Content& content);

/// All that follows the central directory: a Zip64 end and its locator where a number needs them,
/// and the end record. `size` bytes of directory lie at `offset`.
[[nodiscard]] std::vector<std::uint8_t> endRecords(std::uint64_t entries, std::uint64_t offset,
                                                   std::uint64_t size);

/// Whether `text` is UTF-8 (RFC 3629): shortest forms, no surrogates, nothing over U+10FFFF.
[[nodiscard]] bool isUtf8(std::string_view text);

}  // namespace ztp::archiver
