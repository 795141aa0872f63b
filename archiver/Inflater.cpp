// Reads raw bytes from libzip, decodes them with ISA-L, counts and sums them with libdeflate.
#include "archiver/Inflater.h"

#include <isa-l.h>
#include <libdeflate.h>

#include <array>
#include <cstddef>

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t kBufferSize = std::size_t{256} << 10U;

/// Passes bytes on as long as the entry has room for them.
class Meter {
 public:
  Meter(const Entry& entry, const Inflater::Output& output) : entry_(entry), output_(output) {}

  void pass(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > entry_.size - count_) throw ArchiveError("it holds more than it claims");
    count_ += bytes.size();
    crc_ = libdeflate_crc32(crc_, bytes.data(), bytes.size());
    output_(bytes);
  }

  void finish() const {
    if (count_ != entry_.size) throw ArchiveError("it holds less than it claims");
    if (crc_ != entry_.crc) throw ArchiveError("its checksum is wrong");
  }

 private:
  const Entry& entry_;
  const Inflater::Output& output_;
  std::uint64_t count_ = 0;
  std::uint32_t crc_ = 0;
};

}  // namespace

struct Inflater::Decoder {
  inflate_state state{};
  std::array<std::uint8_t, kBufferSize> raw{};
  std::array<std::uint8_t, kBufferSize> decoded{};

  [[nodiscard]] std::span<std::uint8_t> readRaw(zip_file_t* file) {
    const zip_int64_t count = zip_fread(file, raw.data(), raw.size());
    if (count < 0) throw zipError("it cannot be read", zip_file_get_error(file));
    return std::span(raw).first(static_cast<std::size_t>(count));
  }

  void copy(zip_file_t* file, Meter& meter) {
    for (auto bytes = readRaw(file); !bytes.empty(); bytes = readRaw(file)) meter.pass(bytes);
  }

  void inflate(zip_file_t* file, Meter& meter) {
    isal_inflate_init(&state);
    while (state.block_state != ISAL_BLOCK_FINISH) {
      const std::span<std::uint8_t> bytes = readRaw(file);
      if (bytes.empty()) throw ArchiveError("its data ends too early");
      state.next_in = bytes.data();
      state.avail_in = static_cast<std::uint32_t>(bytes.size());
      drain(meter);
    }
  }

  /// Decodes what the input buffer holds, until it is used up or the stream ends.
  void drain(Meter& meter) {
    do {
      state.next_out = decoded.data();
      state.avail_out = static_cast<std::uint32_t>(decoded.size());
      const std::uint32_t before = state.avail_in;
      if (isal_inflate(&state) < ISAL_DECOMP_OK) throw ArchiveError("its data is broken");
      const std::size_t count = decoded.size() - state.avail_out;
      meter.pass(std::span(decoded).first(count));
      if (count == 0 && state.avail_in == before && before != 0 &&
          state.block_state != ISAL_BLOCK_FINISH) {
        throw ArchiveError("its data leads nowhere");
      }
    } while (state.block_state != ISAL_BLOCK_FINISH &&
             (state.avail_in != 0 || state.avail_out == 0));
  }
};

Inflater::Inflater() : decoder_(std::make_unique<Decoder>()) {}

Inflater::~Inflater() = default;

void Inflater::run(const Entry& entry, ZipFileHandle raw, const Output& output) {
  Meter meter(entry, output);
  if (entry.isDeflated) {
    decoder_->inflate(raw.get(), meter);
  } else {
    decoder_->copy(raw.get(), meter);
  }
  meter.finish();
}

}  // namespace ztp::archiver
