// The rules for names and link targets.
#include "archiver/EntryName.h"

#include "archiver/ArchiveError.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t kLongestName = 4095;      // PATH_MAX without its NUL
constexpr std::size_t kLongestComponent = 255;  // NAME_MAX

/// Cuts the part before the next slash off the head of `rest`, the slash with it.
std::string_view takeComponent(std::string_view& rest) {
  const std::size_t slash = rest.find('/');
  const std::string_view component = rest.substr(0, slash);
  rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
  return component;
}

bool saysNothing(std::string_view component) {
  return component.empty() || component == ".";
}

void checkComponent(std::string_view component) {
  if (component == "..") throw ArchiveError("its name leads out of the destination");
  if (component.size() > kLongestComponent) throw ArchiveError("its name is too long");
}

}  // namespace

std::string EntryName::text() const {
  std::string joined;
  for (const std::string& component : components) {
    if (!joined.empty()) joined += '/';
    joined += component;
  }
  return joined;
}

EntryName parseEntryName(std::string_view name) {
  if (name.empty()) throw ArchiveError("it has no name");
  if (name.size() > kLongestName) throw ArchiveError("its name is too long");
  if (name.front() == '/') throw ArchiveError("its name is absolute");
  if (name.find('\\') != std::string_view::npos) throw ArchiveError("its name has a backslash");
  EntryName result;
  result.isDirectory = name.back() == '/';
  while (!name.empty()) {
    const std::string_view component = takeComponent(name);
    if (saysNothing(component)) continue;
    checkComponent(component);
    result.components.emplace_back(component);
  }
  if (result.components.size() > kMaximumDepth) throw ArchiveError("its name is too deep");
  return result;
}

void checkLinkTarget(const EntryName& link, std::string_view target) {
  if (target.empty() || target.size() > kLongestName ||
      target.find('\0') != std::string_view::npos) {
    throw ArchiveError("it is a link to no valid name");
  }
  if (target.front() == '/') throw ArchiveError("it is a link to an absolute name");
  // Neither the link's own name nor the top-level directory is there to be left.
  std::size_t stepsUp = link.components.size() < 2 ? 0 : link.components.size() - 2;
  bool hasGoneDown = false;
  while (!target.empty()) {
    const std::string_view component = takeComponent(target);
    if (saysNothing(component)) continue;
    if (component != "..") {
      hasGoneDown = true;
    } else if (hasGoneDown || stepsUp == 0) {
      throw ArchiveError("it is a link that leads out");
    } else {
      --stepsUp;
    }
  }
}

}  // namespace ztp::archiver
