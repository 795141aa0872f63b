// What the session and the framing need from the machine and of text forms: programs run to their
// end, archives, descriptors, sizes, file encryption, base64, timestamps, MD5, hexadecimal digits.
//
// Failures return false, 0, nothing or an empty result, with a log line where one is named; nothing
// here raises.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Data.h"
#include "platform/FileHandle.h"
#include "util/CryptoKey.h"
#include "util/TimestampFormatter.h"

namespace ztp {

/// Stateless operations, for the main thread.
class ZanburyToolProxyUtilities {
 public:
  ZanburyToolProxyUtilities() = delete;

  // Programs and archives

  /// Packs `directory` into a new zip archive that holds the directory itself as its top-level
  /// entry. True means only that the archiver ran: look for the archive afterwards.
  [[nodiscard]] static bool createZip(const std::filesystem::path& zip,
                                      const std::filesystem::path& directory);
  /// Unpacks a zip archive into `destination`. True means only that the archiver ran.
  [[nodiscard]] static bool extractContentsOfZip(const std::filesystem::path& zip,
                                                 const std::filesystem::path& destination);
  /// Runs a program and waits for its end (see BlockingWait). Its standard input and output are the
  /// null device, its standard error is ours; it gets our environment without the variables that
  /// begin with "EXPORT_", which hold the private identity. True when it was launched, whatever
  /// became of it; false, and nothing logged, when it was not.
  [[nodiscard]] static bool runTaskWithLaunchPath(
      const std::filesystem::path& launchPath,
      const std::optional<std::vector<std::string>>& arguments);

  // Files and descriptors

  /// Full paths of the entries one level below, hidden ones included, in the system's order. Empty
  /// after logging the error.
  [[nodiscard]] static std::vector<std::filesystem::path> pathsForContentsOfDirectory(
      const std::filesystem::path& directory);
  /// A handle of the descriptor, which is made blocking. The handle does not close it when it goes,
  /// only when it is told to. Absent for -1.
  [[nodiscard]] static std::optional<FileHandle> newFileHandleWithFileDescriptor(
      std::int32_t fileDescriptor);
  /// Makes the descriptor blocking or non-blocking; one that is so already is left alone. A failure
  /// is logged as "fcntl".
  static void setBlocking(bool blocking, std::int32_t fileDescriptor);
  /// Returns when a write would not block or would fail; at once for an invalid descriptor.
  static void waitUntilFileDescriptorCanWrite(std::int32_t fileDescriptor);
  /// Size in bytes; 0 for an empty file and, after logging the error, for a missing one.
  [[nodiscard]] static std::uint64_t fileSizeForPath(const std::filesystem::path& path);
  /// The dotted version of the operating system, asked for once in a process. Absent when there is
  /// none.
  [[nodiscard]] static std::optional<std::string> systemVersion();

  // File encryption

  /// `encrypt` with true.
  [[nodiscard]] static bool encryptFile(const std::filesystem::path& source,
                                        const std::filesystem::path& destination, AESKeyBytes key,
                                        std::optional<DataView> initializationVector);
  /// `encrypt` with false.
  [[nodiscard]] static bool decryptFile(const std::filesystem::path& source,
                                        const std::filesystem::path& destination, AESKeyBytes key,
                                        std::optional<DataView> initializationVector);
  /// Encrypts or decrypts a whole file (AES-256-CBC, PKCS#7; see CryptoUtilities) piece by piece,
  /// with a check for interrupts between the pieces (see BlockingWait). Encrypting deletes the
  /// source as soon as all of it is transformed, before the result is whole and even when there is
  /// none; decrypting keeps it. The destination is written in place, and removed when it cannot be
  /// finished. False when the source cannot be read (logged; the source stays), the transformation
  /// fails (logged) or the destination cannot be written.
  [[nodiscard]] static bool encrypt(bool encrypt, const std::filesystem::path& file,
                                    const std::filesystem::path& toPath, AESKeyBytes key,
                                    std::optional<DataView> initializationVector);

  // Text forms

  /// Base64 (RFC 4648, section 4) in one line; "" for no bytes.
  [[nodiscard]] static SecretText stringWithEncodedData(std::optional<DataView> data);
  /// The bytes of base64 text. Characters outside the alphabet are ignored; what is left must be
  /// padded with "=" to a multiple of four. Absent for no text and for text that cannot be decoded;
  /// empty for text without a character of the alphabet.
  [[nodiscard]] static std::optional<Data> decodedDataWithString(
      std::optional<std::string_view> string);
  /// "1970-01-01T00:00:00Z"; see TimestampFormatter.
  [[nodiscard]] static std::string stringWithEncodedTimestamp(Instant date);
  /// Absent unless the text has exactly that form.
  [[nodiscard]] static std::optional<Instant> timestampWithString(std::string_view string);
  /// A new formatter for every caller.
  [[nodiscard]] static TimestampFormatter newTimestampFormatter();
  /// MD5 (RFC 1321) as 32 lowercase hexadecimal digits; a checksum, not a protection. "" after
  /// logging, where the system has forbidden it.
  [[nodiscard]] static std::string MD5DigestForData(DataView data);
  /// Two lowercase hexadecimal digits a byte.
  [[nodiscard]] static std::string hexStringWithBytes(const std::uint8_t* bytes,
                                                      std::uint64_t length);
};

}  // namespace ztp
