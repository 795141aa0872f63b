// The walk, one component at a time.
#include "platform/PathWalk.h"

#include <cerrno>

#include "platform/Error.h"

namespace ztp {
namespace {

constexpr int mostLinks = 40;  // as many as Linux follows

std::vector<std::string> componentsOf(const std::string& path) {
  std::vector<std::string> components;
  for (const auto& component : std::filesystem::path(path).relative_path()) {
    if (!component.empty() && component != ".") components.push_back(component);
  }
  return components;
}

}  // namespace

PathWalk::PathWalk(const Directory& root, Top top) : root_(root), top_(top) {}

const Directory& PathWalk::current() const {
  return opened_.empty() ? root_ : opened_.back();
}

const Directory& PathWalk::parent() const {
  // A directory at the end is opened itself; its parent is the one before.
  if (opened_.size() < names_.size()) return current();
  return opened_.size() == 1 ? root_ : opened_[opened_.size() - 2];
}

PathWalk::End PathWalk::follow(const std::string& path) {
  prepend(path);
  return followNames();
}

PathWalk::End PathWalk::followNames() {
  while (!ahead_.empty()) {
    const bool isFile = opened_.size() < names_.size();
    if (isFile) {
      throw PlatformException(
          Error::fromErrorNumber("open " + current().pathOf(names_.back()).string(), ENOTDIR));
    }
    const std::string name = ahead_.front();
    if (name == "..") {
      if (names_.empty()) return End::outside;
      ahead_.pop_front();
      names_.pop_back();
      opened_.pop_back();
      continue;
    }
    const auto status = current().statusOf(name);
    if (!status) return missing();
    ahead_.pop_front();
    if (S_ISLNK(status->st_mode)) {
      if (!followLink(name)) return End::outside;
      continue;
    }
    if (S_ISDIR(status->st_mode)) opened_.push_back(current().subdirectory(name));
    names_.push_back(name);
  }
  return names_.empty() && top_ == Top::outside ? End::outside : End::there;
}

bool PathWalk::followLink(const std::string& name) {
  if (++links_ > mostLinks) {
    throw PlatformException(
        Error::fromErrorNumber("open " + current().pathOf(name).string(), ELOOP));
  }
  const std::string target = current().targetOf(name);
  if (target.starts_with('/')) return false;
  prepend(target);
  return true;
}

// What is not there cannot be followed, but something may be made there: the names say where.
PathWalk::End PathWalk::missing() const {
  const std::size_t least = top_ == Top::outside ? 1 : 0;
  std::size_t depth = names_.size();
  if (depth < least) return End::outside;
  for (const auto& name : ahead_) {
    if (name != "..") {
      ++depth;
    } else if (depth == least) {
      return End::outside;
    } else {
      --depth;
    }
  }
  return End::nowhere;
}

void PathWalk::prepend(const std::string& path) {
  const auto components = componentsOf(path);
  ahead_.insert(ahead_.begin(), components.begin(), components.end());
}

}  // namespace ztp
