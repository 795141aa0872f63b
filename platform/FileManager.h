// File-system operations. Each returns its error as a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "platform/Data.h"
#include "platform/Error.h"
#include "platform/TreeRemoval.h"

namespace ztp {

/// Stateless operations; callable from any thread, but removals and copies check for interrupts,
/// which belong to the main thread (see BlockingWait).
class FileManager {
 public:
  FileManager() = delete;

  /// True when anything is there; a link counts whether or not it leads anywhere.
  [[nodiscard]] static bool itemExists(const std::filesystem::path& path);
  /// True when nothing can be there. False also where that cannot be found out, so that what must
  /// not stay is not left behind only because it could not be seen.
  [[nodiscard]] static bool isSurelyAbsent(const std::filesystem::path& path);

  /// Makes an empty file, emptying one that exists. `mode` as for open(2), before the umask.
  [[nodiscard]] static MaybeError createEmptyFile(const std::filesystem::path& path,
                                                  unsigned mode = 0666);
  /// Makes a new file of mode 0600, whatever the umask, and writes into it. An error when anything
  /// is at the path, a link included; what was made before a failure stays.
  [[nodiscard]] static MaybeError writeNewPrivateFile(const std::filesystem::path& path,
                                                      DataView content);
  /// Makes the directory and those above it; one that exists is no error.
  [[nodiscard]] static MaybeError createDirectory(const std::filesystem::path& path);
  /// Removes a file, a link (not what it leads to) or a whole directory tree, its directories that
  /// are not writable included; that nothing is there is no error. Interrupts end it.
  [[nodiscard]] static MaybeError removeItem(
      const std::filesystem::path& path,
      TreeRemoval::Unremovable unremovable = TreeRemoval::Unremovable::leave);

  /// Writes in place, emptying what was there; a file that is new gets mode 0600 or less.
  [[nodiscard]] static MaybeError writeFile(const std::filesystem::path& path, DataView content);
  /// The whole file; an error also when it has more than `maximum` bytes.
  [[nodiscard]] static Result<Data> readFile(const std::filesystem::path& path,
                                             std::size_t maximum);

  /// Size in bytes of what the path leads to.
  [[nodiscard]] static Result<std::uint64_t> fileSize(const std::filesystem::path& path);
  /// Names of the entries, hidden ones included, in the system's order.
  [[nodiscard]] static Result<std::vector<std::filesystem::path>> contentsOfDirectory(
      const std::filesystem::path& path);

  /// Copies the file or the directory tree that `source` leads to, to a path where nothing is yet,
  /// with permissions (without set-id bits) and modification times; links inside a tree are kept.
  /// What was copied before a failure is removed again; after an interrupt it stays.
  [[nodiscard]] static MaybeError copyItem(const std::filesystem::path& source,
                                           const std::filesystem::path& destination);
};

}  // namespace ztp
