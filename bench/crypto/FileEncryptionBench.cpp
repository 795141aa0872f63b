// What the encryption of a file costs, one operation a process, so that its peak memory can be
// told:
//
//   file_encryption_bench encrypt|decrypt SOURCE DESTINATION    as the session does it
//   file_encryption_bench carry SOURCE DESTINATION              reads and writes the same, only
//   file_encryption_bench raw-encrypt|raw-decrypt BYTES         EVP in memory, in one large call
//
// The last two forms print the seconds that they took; the first is measured from outside.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "util/ZanburyToolProxyUtilities.h"

namespace {

using ztp::Data;
using Clock = std::chrono::steady_clock;

constexpr std::size_t keySize = 32;
constexpr std::size_t blockSize = 16;
constexpr std::size_t pieceSize = 262'144;
constexpr std::size_t rawPieceSize = std::size_t{1} << 24;

void printSecondsSince(Clock::time_point start) {
  std::printf("%.6f\n", std::chrono::duration<double>(Clock::now() - start).count());
}

bool carry(const char* source, const char* destination) {
  const int from = ::open(source, O_RDONLY | O_CLOEXEC);
  const int to = ::open(destination, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Data piece(pieceSize);
  const auto start = Clock::now();
  ssize_t count = 0;
  while ((count = ::read(from, piece.data(), piece.size())) > 0) {
    if (::write(to, piece.data(), static_cast<std::size_t>(count)) != count) return false;
  }
  if (::close(to) != 0 || count < 0) return false;
  printSecondsSince(start);
  return true;
}

bool raw(int encrypts, std::size_t bytes) {
  Data buffer(bytes / blockSize * blockSize, 0);
  const Data key(keySize, 1);
  const Data vector(blockSize, 2);
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.data(), vector.data(), encrypts);
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  const auto start = Clock::now();
  for (std::span rest(buffer); !rest.empty();) {
    const auto piece = rest.first(std::min(rest.size(), rawPieceSize));
    int written = 0;
    if (EVP_CipherUpdate(context.get(), piece.data(), &written, piece.data(),
                         static_cast<int>(piece.size())) != 1) {
      return false;
    }
    rest = rest.subspan(piece.size());
  }
  printSecondsSince(start);
  return true;
}

bool run(std::string_view what, const char* source, const char* destination) {
  using Utilities = ztp::ZanburyToolProxyUtilities;
  const Data key(keySize, 0x0f);
  const Data vector(blockSize, 0x1e);
  if (what == "carry") return carry(source, destination);
  return Utilities::encrypt(what == "encrypt", source, destination, ztp::AESKeyBytes{key}, vector);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  bool done = false;
  if (argc == 3) done = raw(what == "raw-encrypt" ? 1 : 0, std::strtoull(argv[2], nullptr, 10));
  if (argc == 4) done = run(what, argv[2], argv[3]);
  return done ? 0 : 1;
}
