// A name being made: it exists under a temporary one until it is put in its place.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

#include "archiver/FileDescriptor.h"

namespace ztp::archiver {

/// A file or a link in a directory, under a temporary name. The destructor removes it unless it was
/// put in its place: a failure leaves nothing half-written behind.
class PendingFile {
 public:
  /// A new empty file that is to be `name` in `directory`, which must stay open. Throws
  /// ArchiveError.
  [[nodiscard]] static PendingFile makeFile(int directory, std::string name, mode_t mode);
  /// A new link to `target` that is to be `name` in `directory`. Throws ArchiveError.
  [[nodiscard]] static PendingFile makeLink(int directory, std::string name,
                                            const std::string& target);

  PendingFile(PendingFile&& other) noexcept;
  PendingFile& operator=(PendingFile&&) = delete;
  ~PendingFile();

  /// Appends to the file. Throws ArchiveError.
  void write(std::span<const std::uint8_t> bytes);
  /// Sets the modification time, in seconds since 1970. Throws ArchiveError.
  void setModificationTime(std::int64_t seconds);
  /// Closes the file and renames it, in place of a file or link that has the name. Throws
  /// ArchiveError.
  void putInPlace();

  /// Where it is: the open directory, the name to be, the name until then.
  [[nodiscard]] int directory() const { return directory_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const std::string& temporaryName() const { return temporary_; }

 private:
  PendingFile(int directory, std::string name);

  int directory_;
  std::string name_;
  std::string temporary_;
  FileDescriptor file_;
};

}  // namespace ztp::archiver
