// The way of a result from where it was unpacked to where the host wants it.
//
// What is in the result comes from the server: nothing that a name or a link in it leads to outside
// the unpacked directory is delivered. What is at the host's paths may be changed by other users at
// any time: everything there is done in directories that are open. And it is the host's: what is
// there goes only when what comes in its place is whole.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Directory.h"
#include "platform/Error.h"
#include "platform/InterruptCheck.h"
#include "platform/PathWalk.h"
#include "platform/PendingItem.h"
#include "platform/TreeCopy.h"

namespace ztp {

/// Delivers the items of one unpacked result. What is half-way when it goes is taken back.
class Delivery {
 public:
  /// Why something could not be delivered: what to tell, and the file system's word.
  struct Failure {
    std::string_view reason;
    Error error;
  };

  /// The result is the directory "OutputArchive" in `directory`, where an archive was unpacked.
  /// Raises PlatformException when it is not a directory, or when a link lies beside it.
  Delivery(const std::filesystem::path& directory, InterruptCheck check);

  /// Puts the file, or the folder, of that name inside the result in the place of whatever is at
  /// `destination`. When it cannot be made, what is there is removed all the same.
  [[nodiscard]] std::optional<Failure> deliverConvertedFile(
      const std::string& name, const std::filesystem::path& destination);
  /// Puts the logs of the result into the directory `destination`, each in the place of what has
  /// its name there; where there is no such directory, the directory of the logs becomes it.
  [[nodiscard]] std::optional<Failure> deliverLogs(const std::filesystem::path& destination);

 private:
  [[nodiscard]] std::optional<Failure> deliverNewLogs(const std::filesystem::path& destination);
  [[nodiscard]] std::optional<Failure> deliverLogsInto(const std::filesystem::path& destination);
  /// Finds what a name means inside the result; links are followed.
  [[nodiscard]] PathWalk locate(const std::string& name) const;
  [[nodiscard]] PathWalk locateOrRemove(const std::string& name, const std::string& oldName);
  [[nodiscard]] Directory openLogs() const;
  /// Where the links in an item may lead: to places inside it, or inside any item of its directory.
  enum class Links { insideItem, insideSiblings };
  /// Puts an item into the open directory of the host, under the new name.
  void put(const Directory& from, const std::string& name, const std::string& newName, Links links);
  void make(const Directory& from, const std::string& name, const std::string& newName,
            TreeCopy& copy);
  void removeOld(const std::string& name);

  std::filesystem::path resultPath_;
  Directory result_;
  InterruptCheck check_;
  /// The directory of the host that is being delivered into, and what is being made in it.
  std::optional<Directory> destination_;
  std::optional<PendingItem> pending_;
};

}  // namespace ztp
