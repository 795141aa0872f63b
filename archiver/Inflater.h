// Turns the bytes of an entry into the bytes of its file, and believes nothing that it claims.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "archiver/EntryData.h"
#include "archiver/ZipDirectory.h"

namespace ztp::archiver {

/// Buffers and decoder for one entry at a time. RFC 1951.
class Inflater {
 public:
  /// Takes decoded bytes, in order.
  using Output = std::function<void(std::span<const std::uint8_t>)>;

  Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater();

  /// Reads all of `raw` and passes to `output` what `entry` holds, never more bytes than it claims.
  /// Throws ArchiveError when the data is broken, or its size or its CRC-32 is not what the entry
  /// claims; `output` has had the bytes before that.
  void run(const Entry& entry, EntryData raw, const Output& output);

 private:
  struct Decoder;
  std::unique_ptr<Decoder> decoder_;
};

}  // namespace ztp::archiver
