// Reads raw bytes from the archive and decodes them with ISA-L; meanwhile another thread counts,
// sums (with libdeflate) and passes on what was decoded before.
#include "archiver/Inflater.h"

#include <isa-l.h>
#include <libdeflate.h>

#include <array>
#include <cstddef>
#include <future>

#include "archiver/ArchiveError.h"
#include "archiver/ThreadPool.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} << 10U;

// Passes bytes on as long as the entry has room for them.
class Verifier {
 public:
  Verifier(const Entry& entry, const Inflater::Output& output) : entry_(entry), output_(output) {}

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

// Has another thread pass bytes on, one buffer at a time.
class Relay {
 public:
  Relay(Verifier& verifier, ThreadPool& threads) : verifier_(verifier), threads_(threads) {}
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay() {
    if (underWay_.valid()) underWay_.wait();
  }

  // Hands the bytes over until the next call of a function here.
  void pass(std::span<const std::uint8_t> bytes) {
    settle();
    underWay_ = threads_.start([this, bytes] { verifier_.pass(bytes); });
  }
  // Passes the bytes on before it returns.
  void passNow(std::span<const std::uint8_t> bytes) {
    settle();
    verifier_.pass(bytes);
  }

 private:
  void settle() {
    if (underWay_.valid()) underWay_.get();
  }

  Verifier& verifier_;
  ThreadPool& threads_;
  std::future<void> underWay_;
};

}  // namespace

struct Inflater::Decoder {
  inflate_state state{};
  std::array<std::uint8_t, bufferSize> raw{};
  std::array<std::array<std::uint8_t, bufferSize>, 2> buffers{};  // one to fill, one on its way
  std::size_t turn = 0;
  ThreadPool threads{1};

  [[nodiscard]] std::span<std::uint8_t> readRaw(EntryData& data) {
    return std::span(raw).first(data.read(raw));
  }

  void copy(EntryData& data, Verifier& verifier) {
    for (auto bytes = readRaw(data); !bytes.empty(); bytes = readRaw(data)) verifier.pass(bytes);
  }

  void inflate(EntryData& data, Verifier& verifier) {
    Relay relay(verifier, threads);
    isal_inflate_init(&state);
    while (!isAtEnd()) {
      const std::span<std::uint8_t> bytes = readRaw(data);
      if (bytes.empty()) throw ArchiveError("its data ends too early");
      state.next_in = bytes.data();
      state.avail_in = static_cast<std::uint32_t>(bytes.size());
      drain(relay);
    }
  }

  // Decodes what the input buffer holds, until it is used up or the stream ends.
  void drain(Relay& relay) {
    do {
      std::span<std::uint8_t> decoded(buffers[turn++ % buffers.size()]);
      state.next_out = decoded.data();
      state.avail_out = static_cast<std::uint32_t>(decoded.size());
      const std::uint32_t before = state.avail_in;
      if (isal_inflate(&state) < ISAL_DECOMP_OK) throw ArchiveError("its data is broken");
      const std::size_t count = decoded.size() - state.avail_out;
      if (isAtEnd()) return relay.passNow(decoded.first(count));
      if (count != 0) relay.pass(decoded.first(count));
      if (count == 0 && state.avail_in == before && before != 0) {
        throw ArchiveError("its data does not end");
      }
    } while (state.avail_in != 0 || state.avail_out == 0);
  }

  [[nodiscard]] bool isAtEnd() const { return state.block_state == ISAL_BLOCK_FINISH; }
};

Inflater::Inflater() : decoder_(std::make_unique<Decoder>()) {}

Inflater::~Inflater() = default;

void Inflater::run(const Entry& entry, EntryData raw, const Output& output) {
  Verifier verifier(entry, output);
  if (entry.isDeflated) {
    decoder_->inflate(raw, verifier);
  } else {
    decoder_->copy(raw, verifier);
  }
  verifier.finish();
}

}  // namespace ztp::archiver
