// Finds the items of a result and puts each in its place. A way that fails says where it led to.
#include "app/Delivery.h"

#include <cerrno>
#include <utility>

#include "platform/ItemPath.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "platform/TreeRemoval.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

constexpr const char* resultName = "OutputArchive";
constexpr const char* logsName = "Logs";

// The result itself; a link would be another way into the private directory, and so would any
// other beside it.
Directory openResult(const fs::path& path) {
  Directory directory = Directory::at(path);
  while (const char* const name = directory.nextName()) {
    const auto status = directory.statusOf(name);
    if (status && S_ISLNK(status->st_mode)) {
      throw PlatformException(directory.pathOf(name).string() + ": a link beside the result");
    }
  }
  return directory.subdirectory(resultName);
}

// Opens a directory of the host, in which that is to be made.
Directory openFor(const fs::path& destination, const fs::path& directory) {
  try {
    return Directory::at(directory);
  } catch (const PlatformException& exception) {
    throw PlatformException("copy to " + destination.string() + ": " + exception.what());
  }
}

void logNotRemoved(const MaybeError& error) {
  if (error) log("ERROR: Could not remove file, error = {}", printable(error->description));
}

}  // namespace

Delivery::Delivery(const fs::path& directory, InterruptCheck check)
    : resultPath_(directory / resultName),
      result_(openResult(directory)),
      check_(std::move(check)) {}

std::optional<Delivery::Failure> Delivery::deliverConvertedFile(const std::string& name,
                                                                const fs::path& destination) {
  try {
    const ItemPath place(destination);
    destination_ = openFor(destination, place.parent);
    const PathWalk item = locateOrRemove(name, place.name);
    put(item.parent(), item.name(), place.name, Links::insideItem);
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Failure{"Could not copy dest file to host path", Error{exception.what()}};
  }
}

std::optional<Delivery::Failure> Delivery::deliverLogs(const fs::path& destination) {
  std::error_code code;
  return fs::exists(destination, code) ? deliverLogsInto(destination) : deliverNewLogs(destination);
}

std::optional<Delivery::Failure> Delivery::deliverNewLogs(const fs::path& destination) {
  try {
    const ItemPath place(destination);
    destination_ = openFor(destination, place.parent);
    if (destination_->statusOf(place.name)) {
      throw PlatformException(Error::fromErrorNumber("copy to " + destination.string(), EEXIST));
    }
    const PathWalk logs = locate(logsName);
    put(logs.parent(), logs.name(), place.name, Links::insideItem);
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Failure{"Could not copy logs to host path", Error{exception.what()}};
  }
}

std::optional<Delivery::Failure> Delivery::deliverLogsInto(const fs::path& destination) {
  destination_.reset();
  std::optional<Directory> logs;
  for (const auto& path :
       ZanburyToolProxyUtilities::pathsForContentsOfDirectory(resultPath_ / logsName)) {
    const std::string name = path.filename();
    try {
      if (!destination_) destination_ = openFor(destination / name, destination);
      if (!logs) logs = openLogs();
      check_();
      put(*logs, name, name, Links::insideSiblings);
    } catch (const PlatformException& exception) {
      return Failure{"Could not copy log file to host logs directory", Error{exception.what()}};
    }
  }
  return std::nullopt;
}

Directory Delivery::openLogs() const {
  const PathWalk logs = locate(logsName);
  return logs.parent().subdirectory(logs.name());
}

PathWalk Delivery::locate(const std::string& name) const {
  const std::string path = resultPath_.string() + "/" + name;
  PathWalk walk(result_);
  const auto end = walk.follow(name);
  if (end == PathWalk::End::nowhere) {
    throw PlatformException(Error::fromErrorNumber("stat " + path, ENOENT));
  }
  if (end == PathWalk::End::outside || walk.isAtTop()) {
    throw PlatformException(path + ": not inside the result");
  }
  return walk;
}

// Of a result that does not hold the item the old one goes, too.
PathWalk Delivery::locateOrRemove(const std::string& name, const std::string& oldName) {
  try {
    return locate(name);
  } catch (const PlatformException&) {
    removeOld(oldName);
    throw;
  }
}

void Delivery::put(const Directory& from, const std::string& name, const std::string& newName,
                   Links links) {
  const auto status = from.statusOf(name);
  std::optional<Directory> tree;
  if (status && S_ISDIR(status->st_mode)) tree = from.subdirectory(name);
  const bool isOwnScope = tree && links == Links::insideItem;
  const TreeCopy::LinkScope scope =
      isOwnScope ? TreeCopy::LinkScope{*tree, "", PathWalk::Top::inside}
                 : TreeCopy::LinkScope{from, tree ? name : "", PathWalk::Top::outside};
  // The unpacked result goes soon: on the same file system the bytes need not be copied.
  const auto attempt = [&] {
    TreeCopy copy(TreeCopy::Content::share, scope, check_);
    make(from, name, newName, copy);
  };
  const bool isReplacing = destination_->statusOf(newName).has_value();
  try {
    attempt();
  } catch (const PlatformException&) {
    if (!isReplacing) throw;
    // It may have been the room that the old item takes, which has to go anyway.
    removeOld(newName);
    attempt();
  }
}

void Delivery::make(const Directory& from, const std::string& name, const std::string& newName,
                    TreeCopy& copy) {
  pending_.emplace(*destination_, newName);
  try {
    pending_->copy(from, name, copy);
    logNotRemoved(pending_->takePlace(check_));
    pending_.reset();
  } catch (const std::exception&) {
    // After an interrupt it goes with the delivery: the session has its last words to say first.
    pending_.reset();
    throw;
  }
}

void Delivery::removeOld(const std::string& name) {
  TreeRemoval removal(check_);
  removal.remove(*destination_, name);
  logNotRemoved(removal.error());
}

}  // namespace ztp
