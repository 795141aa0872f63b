// Whole files, encrypted and decrypted piece by piece from one file to the other: what is held in
// memory does not grow with them.
#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/Log.h"
#include "platform/System.h"
#include "util/CryptoSizes.h"
#include "util/LoggedCipher.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

// Large enough that reading and looking around cost nothing beside the cipher, small enough that a
// piece is still in the processor's cache when it is written.
constexpr std::size_t pieceSize = 131'072;
// Whole blocks, so that every piece but the last can be transformed by itself.
static_assert(pieceSize % aesBlockSize == 0);

// The file cache takes what is written at once into one block of memory where it can. Large blocks
// are often such as nobody has touched for long, and then cost more than the cipher.
constexpr std::size_t writtenAtOnce = 16'384;

class UnreadableSource : public PlatformException {
  using PlatformException::PlatformException;
};

// The file that is read, one piece ahead, so that the last piece is known as such. One that is
// encrypted is plain text and goes with this object, whatever came of it, unless it cannot be read.
class Source {
 public:
  Source(fs::path path, CryptoDirection direction) : path_(std::move(path)) {
    auto file = FileHandle::forReadingAtPath(path_);
    if (!file) throw UnreadableSource(Error::fromErrno("open " + path_.string()));
    file_.emplace(std::move(*file));
    system::keepOutOfFileCache(file_->fileDescriptor());
    for (Data* buffer : {&piece_, &next_}) buffer->reserve(pieceSize + aesBlockSize);
    read(piece_);
    read(next_);
    isRemoved_ = direction == CryptoDirection::encrypt;
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() { finish(); }

  [[nodiscard]] Data& piece() { return piece_; }
  [[nodiscard]] bool isAtLastPiece() const { return next_.empty(); }
  void advance() {
    std::swap(piece_, next_);
    read(next_);
  }

  void finish() noexcept {
    std::error_code ignored;
    if (std::exchange(isRemoved_, false)) fs::remove(path_, ignored);
  }

 private:
  void read(Data& buffer) {
    buffer.resize(pieceSize);
    try {
      buffer.resize(file_->read(buffer));
    } catch (const PlatformException& exception) {
      isRemoved_ = false;
      throw UnreadableSource(std::string(exception.what()) + " (" + path_.string() + ")");
    }
  }

  fs::path path_;
  std::optional<FileHandle> file_;
  Data piece_;
  Data next_;
  bool isRemoved_ = false;
};

// The file that is written. It is opened when there is something to write, and what could not be
// finished goes with this object. Where it is the source itself, the result is written beside it
// and takes its place in the end.
class Destination {
 public:
  Destination(fs::path path, const fs::path& source) : path_(std::move(path)), written_(path_) {
    std::error_code ignored;
    if (fs::equivalent(path_, source, ignored)) written_ += ".new";
  }
  Destination(const Destination&) = delete;
  Destination& operator=(const Destination&) = delete;
  ~Destination() {
    if (file_) discard();
  }

  void write(DataView bytes) {
    if (!file_) {
      auto file = FileHandle::forOverwritingAtPath(written_);
      if (!file) throw PlatformException(Error::fromErrno("open " + written_.string()));
      file_.emplace(std::move(*file));
    }
    while (!bytes.empty()) {
      const auto part = bytes.first(std::min(bytes.size(), writtenAtOnce));
      file_->writeData(part);
      bytes = bytes.subspan(part.size());
    }
  }
  void finish() {
    file_->closeAfterWriting();
    std::error_code failure;
    if (written_ != path_) fs::rename(written_, path_, failure);
    if (failure) throw PlatformException(failure.message());
    file_.reset();
  }

 private:
  // It may have other names, and is not a file where the path leads to a device.
  void discard() const noexcept {
    std::error_code ignored;
    if (!fs::is_regular_file(written_, ignored)) return;
    fs::resize_file(written_, 0, ignored);
    fs::remove(written_, ignored);
  }

  fs::path path_;
  fs::path written_;
  std::optional<FileHandle> file_;
};

// False when the transformation fails.
bool transform(Source& source, Destination& destination, LoggedCipher& cipher) {
  while (!source.isAtLastPiece() && cipher.update(source.piece())) {
    destination.write(source.piece());
    BlockingWait::checkInterrupts();
    source.advance();
  }
  const bool transformed = cipher.finish(source.piece());
  // Before the result is whole, and whatever came of it: where a source could be read, its plain
  // text does not outlive it.
  source.finish();
  if (!transformed) return false;
  destination.write(source.piece());
  BlockingWait::checkInterrupts();
  destination.finish();
  return true;
}

}  // namespace

bool ZanburyToolProxyUtilities::encryptFile(const fs::path& source, const fs::path& destination,
                                            AESKeyBytes key,
                                            std::optional<DataView> initializationVector) {
  return encrypt(true, source, destination, key, initializationVector);
}

bool ZanburyToolProxyUtilities::decryptFile(const fs::path& source, const fs::path& destination,
                                            AESKeyBytes key,
                                            std::optional<DataView> initializationVector) {
  return encrypt(false, source, destination, key, initializationVector);
}

bool ZanburyToolProxyUtilities::encrypt(bool encrypt, const fs::path& file, const fs::path& toPath,
                                        AESKeyBytes key,
                                        std::optional<DataView> initializationVector) {
  const auto direction = encrypt ? CryptoDirection::encrypt : CryptoDirection::decrypt;
  try {
    Destination destination(toPath, file);
    Source source(file, direction);
    LoggedCipher cipher(direction, key, initializationVector);
    return transform(source, destination, cipher);
  } catch (const UnreadableSource& exception) {
    logLine(exception.what());
    return false;
  } catch (const PlatformException&) {
    return false;
  }
}

}  // namespace ztp
