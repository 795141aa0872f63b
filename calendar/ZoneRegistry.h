// ZoneRegistry: every set of zone rules that this process has asked for, each read once. Not
// installed.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "calendar/ZoneRules.h"

namespace ztp {

/// The rules kept under the key, which `make` makes when there are none; null when it cannot make
/// them, and then it is asked again the next time. What is returned lives as long as the process.
/// Safe from any thread.
const ZoneRules* findOrMakeZoneRules(std::string_view key,
                                     const std::function<std::unique_ptr<const ZoneRules>()>& make);

/// The rules of a zone file by its IANA name or absolute path; null when it cannot be read.
const ZoneRules* zoneRulesOfFile(const std::string& fileName);

/// One offset at all times under a name, by default also what its time is called. `kind` keeps
/// names of several origins apart.
const ZoneRules& zoneRulesOfOffset(std::string_view kind, const std::string& name,
                                   std::int32_t offset, std::string_view abbreviation = {});

}  // namespace ztp
