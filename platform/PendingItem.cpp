// Temporary names, and how an item takes the place of another, whatever the two are.
#include "platform/PendingItem.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

#include "platform/System.h"
#include "platform/TreeRemoval.h"

namespace ztp {
namespace {

// So that an administrator who finds one after a power failure knows whose it is.
constexpr std::string_view prefix = ".ZanburyToolProxy.";

std::string unforeseeableName() {
  std::array<std::uint64_t, 2> random{};
  if (!system::fillWithRandomBytes(random.data(), sizeof random)) {
    throw PlatformException(Error::fromErrno("getentropy"));
  }
  return fmt::format("{}{:016x}{:016x}", prefix, random[0], random[1]);
}

[[noreturn]] void fail(std::string_view call, const std::filesystem::path& path) {
  throw PlatformException(Error::fromErrno(std::string(call) + " " + path.string()));
}

// A rename does not put a directory in the place of anything but an empty directory, or anything
// else in the place of a directory.
bool isInTheWay(int errorNumber) {
  return errorNumber == EISDIR || errorNumber == ENOTDIR || errorNumber == ENOTEMPTY ||
         errorNumber == EEXIST;
}

}  // namespace

PendingItem::PendingItem(const Directory& directory, std::string name)
    : directory_(directory), name_(std::move(name)) {}

PendingItem::~PendingItem() {
  try {
    static_cast<void>(remove([] {}));
  } catch (const std::exception&) {
    // What cannot be removed stays: there is nobody left to tell.
  }
}

void PendingItem::copy(const Directory& from, const std::string& name, TreeCopy& copy) {
  temporaryName_ = unforeseeableName();
  try {
    make(from, name, copy);
  } catch (const PlatformException& exception) {
    // What is said is about the place, whose name somebody knows.
    std::string text = exception.what();
    const auto found = text.find(temporaryName_);
    if (found != std::string::npos) text.replace(found, temporaryName_.size(), name_);
    throw PlatformException(text);
  }
}

void PendingItem::make(const Directory& from, const std::string& name, TreeCopy& copy) {
  const auto status = from.statusOf(name);
  if (!status || !S_ISDIR(status->st_mode)) {
    return copy.copyFileOrLink(from, name, directory_, temporaryName_);
  }
  Directory source = from.subdirectory(name);
  tree_ = directory_.makeSubdirectory(temporaryName_);
  copy.copyDirectory(source, *tree_);
}

MaybeError PendingItem::takePlace(const InterruptCheck& check) {
  if (rename(temporaryName_, name_)) {
    temporaryName_.clear();
    tree_.reset();
    return std::nullopt;
  }
  if (!isInTheWay(errno)) fail("rename", directory_.pathOf(name_));
  changePlaces();
  auto error = remove(check);
  temporaryName_.clear();
  return error;
}

// Afterwards the old item is under the temporary name.
void PendingItem::changePlaces() {
  const auto status = directory_.statusOf(name_);
  std::optional<Directory> old;
  if (status && S_ISDIR(status->st_mode)) old = TreeRemoval::open(directory_, name_);
  std::swap(tree_, old);
  if (system::exchangeNames(directory_.fileDescriptor(), temporaryName_.c_str(), name_.c_str())) {
    return;
  }
  std::swap(tree_, old);
  moveAside();
  tree_ = std::move(old);
}

// The same in two steps, for file systems that cannot do it in one.
void PendingItem::moveAside() {
  const std::string aside = unforeseeableName();
  if (!rename(name_, aside)) {
    // Not even that, as for the lower layers of an overlay: then the old item goes first.
    // Half of it would be neither the old nor the new one.
    TreeRemoval([] {}).remove(directory_, name_);
  }
  if (!rename(temporaryName_, name_)) {
    const int reason = errno;
    static_cast<void>(rename(aside, name_));
    errno = reason;
    fail("rename", directory_.pathOf(name_));
  }
  temporaryName_ = aside;
}

bool PendingItem::rename(const std::string& from, const std::string& to) const noexcept {
  const int directory = directory_.fileDescriptor();
  return ::renameat(directory, from.c_str(), directory, to.c_str()) == 0;
}

MaybeError PendingItem::remove(const InterruptCheck& check) {
  if (temporaryName_.empty()) return std::nullopt;
  TreeRemoval removal(check);
  try {
    if (tree_) {
      removal.removeOpened(*tree_, directory_, temporaryName_);
    } else {
      removal.removeFile(directory_, temporaryName_);
    }
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
  return removal.error();
}

}  // namespace ztp
