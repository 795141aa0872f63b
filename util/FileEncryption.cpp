// Whole files, encrypted and decrypted in the memory that they are read into.
//
// The content lies in pieces, not in one block: each is transformed while it is still in the
// processor's cache, and let go of, wiped, as soon as it is written, so that the system gives the
// same memory to the file cache.
#include <utility>

#include "platform/FileManager.h"
#include "util/CryptoSizes.h"
#include "util/ErrorLog.h"
#include "util/LoggedCipher.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

// Whole blocks, so that every piece but the last can be transformed by itself.
static_assert(dataPieceSize % aesBlockSize == 0);

}  // namespace

bool ZanburyToolProxyUtilities::encryptFile(const std::filesystem::path& source,
                                            const std::filesystem::path& destination,
                                            AESKeyBytes key,
                                            std::optional<DataView> initializationVector) {
  return encrypt(true, source, destination, key, initializationVector);
}

bool ZanburyToolProxyUtilities::decryptFile(const std::filesystem::path& source,
                                            const std::filesystem::path& destination,
                                            AESKeyBytes key,
                                            std::optional<DataView> initializationVector) {
  return encrypt(false, source, destination, key, initializationVector);
}

bool ZanburyToolProxyUtilities::encrypt(bool encrypt, const std::filesystem::path& file,
                                        const std::filesystem::path& toPath, AESKeyBytes key,
                                        std::optional<DataView> initializationVector) {
  const auto direction = encrypt ? CryptoDirection::encrypt : CryptoDirection::decrypt;
  LoggedCipher cipher(direction, key, initializationVector);
  auto content = FileManager::readPieces(file, [&](Data& piece) { cipher.update(piece); });
  if (const auto* error = std::get_if<Error>(&content)) {
    logError(*error);
    return false;
  }
  auto& pieces = std::get<DataPieces>(content);
  const bool transformed = cipher.finish(pieces.back());
  // Now, and whatever came of it: where a source could be read, its plain text does not outlive
  // this call.
  if (encrypt) static_cast<void>(FileManager::removeItem(file));
  return transformed && !FileManager::writePieces(toPath, std::move(pieces));
}

}  // namespace ztp
