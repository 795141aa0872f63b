// NameRegistry: a set under a lock, which is never taken apart: objects that are destroyed when the
// process ends may still hold names.
#include "calendar/NameRegistry.h"

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace ztp {

namespace {

struct Names {
  std::mutex lock;
  std::set<std::string, std::less<>> kept;
};

Names& names() {
  static Names* const immortal = std::make_unique<Names>().release();
  return *immortal;
}

}  // namespace

std::string_view keptName(std::string_view name) {
  Names& all = names();
  const std::lock_guard guard(all.lock);
  const auto known = all.kept.find(name);
  return known != all.kept.end() ? *known : *all.kept.emplace(name).first;
}

}  // namespace ztp
