// The upload: the source as an encrypted zip archive.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/Data.h"
#include "util/CryptoKey.h"

namespace ztp {

/// Packs in the working directory; it owns what it makes there.
class InputArchive {
 public:
  /// Nothing is made yet.
  explicit InputArchive(const std::filesystem::path& temporaryDirectoryPath);

  /// Makes the archive of a file or a folder. A maximum of 0 or less is no limit for the size of
  /// the encrypted archive in bytes. Raises SessionFailure.
  void createInputArchive(const std::optional<std::string>& sourceFilePath, AESKeyBytes key,
                          DataView initializationVector, std::int64_t maxInputArchiveSize);
  /// The encrypted archive, once it is made.
  [[nodiscard]] const std::filesystem::path& inputArchivePath() const noexcept {
    return inputArchivePath_;
  }
  /// Removes what was made. A failure is logged.
  void removeFiles() const;

 private:
  void copySourceFile(const std::optional<std::string>& sourceFilePath) const;
  void zip() const;
  void encrypt(AESKeyBytes key, DataView initializationVector) const;
  void checkSize(std::int64_t maxInputArchiveSize) const;

  std::filesystem::path directory_;
  std::filesystem::path zipPath_;
  std::filesystem::path inputArchivePath_;
};

}  // namespace ztp
