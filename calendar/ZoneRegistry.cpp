// ZoneRegistry: a map under a lock, which is never taken apart: TimeZone values point into it and
// may be used by other objects' destructors when the process ends.
#include "calendar/ZoneRegistry.h"

#include <map>
#include <mutex>

namespace ztp {

namespace {

struct Registry {
  std::mutex lock;
  std::map<std::string, std::unique_ptr<const ZoneRules>, std::less<>> rules;
};

Registry& registry() {
  static Registry* const immortal = std::make_unique<Registry>().release();
  return *immortal;
}

}  // namespace

const ZoneRules* findOrMakeZoneRules(
    std::string_view key, const std::function<std::unique_ptr<const ZoneRules>()>& make) {
  Registry& all = registry();
  const std::lock_guard guard(all.lock);
  const auto known = all.rules.find(key);
  if (known != all.rules.end()) return known->second.get();
  std::unique_ptr<const ZoneRules> made = make();
  if (!made) return nullptr;
  return all.rules.emplace(key, std::move(made)).first->second.get();
}

const ZoneRules* zoneRulesOfFile(const std::string& fileName) {
  return findOrMakeZoneRules(fileName, [&] { return ZoneRules::load(fileName); });
}

const ZoneRules& zoneRulesOfOffset(std::string_view kind, const std::string& name,
                                   std::int32_t offset, std::string_view abbreviation) {
  return *findOrMakeZoneRules(std::string(kind) + ' ' + name, [&] {
    return std::make_unique<const ZoneRules>(
        name, abbreviation.empty() ? name : std::string(abbreviation), offset);
  });
}

}  // namespace ztp
