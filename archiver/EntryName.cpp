// The rules for names and link targets.
#include "archiver/EntryName.h"

#include <algorithm>

#include "archiver/ArchiveError.h"
#include "archiver/ExtractionLimits.h"

namespace ztp::archiver {

namespace {

constexpr std::size_t maximumNameLength = 4095;      // PATH_MAX without its NUL
constexpr std::size_t maximumComponentLength = 255;  // NAME_MAX

// Cuts the part before the next slash off the head of `rest`, the slash with it.
std::string_view takeComponent(std::string_view& rest) {
  const std::size_t slash = rest.find('/');
  const std::string_view component = rest.substr(0, slash);
  rest.remove_prefix(slash == std::string_view::npos ? rest.size() : slash + 1);
  return component;
}

bool isNoOp(std::string_view component) {
  return component.empty() || component == ".";
}

void checkComponent(std::string_view component) {
  if (component == "..") throw ArchiveError("its name leads out of the destination");
  if (component.size() > maximumComponentLength) throw ArchiveError("its name is too long");
}

// Where two texts begin to differ.
std::size_t differenceOf(std::string_view a, std::string_view b) {
  const std::size_t length = std::min(a.size(), b.size());
  const auto* const place = std::mismatch(a.begin(), a.begin() + length, b.begin()).first;
  return static_cast<std::size_t>(place - a.begin());
}

}  // namespace

std::string_view EntryName::parent() const {
  const std::size_t slash = text.rfind('/');
  return slash == std::string::npos ? std::string_view() : std::string_view(text).substr(0, slash);
}

std::string_view EntryName::last() const {
  return std::string_view(text).substr(text.rfind('/') + 1);
}

EntryName parseEntryName(std::string_view name) {
  if (name.empty()) throw ArchiveError("it has no name");
  if (name.size() > maximumNameLength) throw ArchiveError("its name is too long");
  if (name.front() == '/') throw ArchiveError("its name is absolute");
  if (name.find('\0') != std::string_view::npos) throw ArchiveError("its name has a NUL");
  EntryName result;
  result.isDirectory = name.back() == '/';
  std::size_t depth = 0;
  while (!name.empty()) {
    const std::string_view component = takeComponent(name);
    if (isNoOp(component)) continue;
    checkComponent(component);
    if (depth++ > 0) result.text += '/';
    result.text += component;
  }
  if (depth > maximumDepth) throw ArchiveError("its name is too deep");
  return result;
}

std::size_t depthOf(std::string_view text) {
  return text.empty() ? 0 : 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '/'));
}

std::size_t sharedLength(std::string_view a, std::string_view b) {
  const std::size_t difference = differenceOf(a, b);
  const auto endsAt = [difference](std::string_view text) {
    return difference == text.size() || text[difference] == '/';
  };
  if (endsAt(a) && endsAt(b)) return difference;
  const std::size_t slash = a.substr(0, difference).rfind('/');
  return slash == std::string_view::npos ? 0 : slash;
}

bool comesBefore(std::string_view a, std::string_view b) {
  const std::size_t difference = differenceOf(a, b);
  if (difference == b.size()) return false;
  if (difference == a.size()) return true;
  if (a[difference] == '/' || b[difference] == '/') return a[difference] == '/';
  return static_cast<unsigned char>(a[difference]) < static_cast<unsigned char>(b[difference]);
}

void checkLinkTarget(const EntryName& link, std::string_view target) {
  if (target.empty() || target.size() > maximumNameLength ||
      target.find('\0') != std::string_view::npos) {
    throw ArchiveError("its link target is not a valid name");
  }
  if (target.front() == '/') throw ArchiveError("it is a link to an absolute name");
  // Neither the link's own name nor the top-level directory is there to be left.
  const std::size_t depth = depthOf(link.text);
  std::size_t stepsUp = depth < 2 ? 0 : depth - 2;
  bool hasGoneDown = false;
  while (!target.empty()) {
    const std::string_view component = takeComponent(target);
    if (isNoOp(component)) continue;
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
