// Whole files, encrypted and decrypted in the buffer they are read into.
#include "platform/FileManager.h"
#include "util/CryptoSizes.h"
#include "util/CryptoUtilities.h"
#include "util/ErrorLog.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {

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
  // The spare block is for the padding: the result fits where the content was read.
  auto content = FileManager::readFile(file, aesBlockSize);
  if (const auto* error = std::get_if<Error>(&content)) {
    logError(*error);
    return false;
  }
  auto& data = std::get<Data>(content);
  std::optional<Data> result;
  if (encrypt) {
    result = CryptoUtilities::encryptData(std::move(data), key, initializationVector);
    // Now, and whatever came of it: where a source could be read, its plain text does not outlive
    // this call.
    static_cast<void>(FileManager::removeItem(file));
  } else {
    result = CryptoUtilities::decryptData(std::move(data), key, initializationVector);
  }
  return result && !FileManager::writeFile(toPath, *result);
}

}  // namespace ztp
