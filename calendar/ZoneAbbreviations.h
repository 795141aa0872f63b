// ZoneAbbreviations: the fixed offsets that three-letter zone abbreviations stand for. Not
// installed.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ztp {

/// Seconds east of GMT of an abbreviation in capitals, in any season; absent when it is unknown.
std::optional<std::int32_t> secondsFromGMTOfAbbreviation(std::string_view abbreviation);

}  // namespace ztp
