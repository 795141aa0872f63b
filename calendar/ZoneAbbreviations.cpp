// ZoneAbbreviations: a table, sorted by name. Where one abbreviation is used on several continents
// it is the reading that statements of North American banks have, then the one with most people.
#include "calendar/ZoneAbbreviations.h"

#include <algorithm>
#include <array>

namespace ztp {

namespace {

struct Abbreviation {
  std::string_view name;
  std::int32_t minutes;  // east of GMT
};

constexpr auto abbreviations = std::to_array<Abbreviation>({
    {"ADT", -180}, {"ART", -180}, {"AST", -240}, {"BDT", 360},  {"BRT", -180}, {"BST", 60},
    {"CAT", 120},  {"CDT", -300}, {"CET", 60},   {"CLT", -240}, {"COT", -300}, {"CST", -360},
    {"EAT", 180},  {"EDT", -240}, {"EET", 120},  {"EST", -300}, {"GMT", 0},    {"GST", 240},
    {"HDT", -540}, {"HKT", 480},  {"HST", -600}, {"ICT", 420},  {"IST", 330},  {"JST", 540},
    {"KST", 540},  {"MDT", -360}, {"MSD", 240},  {"MSK", 180},  {"MST", -420}, {"NDT", -150},
    {"NST", -210}, {"PDT", -420}, {"PET", -300}, {"PHT", 480},  {"PKT", 300},  {"PST", -480},
    {"SGT", 480},  {"TRT", 180},  {"UTC", 0},    {"WAT", 60},   {"WET", 0},    {"WIB", 420},
    {"WIT", 540},
});
static_assert(std::is_sorted(abbreviations.begin(), abbreviations.end(),
                             [](const auto& a, const auto& b) { return a.name < b.name; }));

}  // namespace

std::optional<std::int32_t> secondsFromGMTOfAbbreviation(std::string_view abbreviation) {
  const auto* const found = std::lower_bound(
      abbreviations.begin(), abbreviations.end(), abbreviation,
      [](const Abbreviation& entry, std::string_view name) { return entry.name < name; });
  if (found == abbreviations.end() || found->name != abbreviation) return std::nullopt;
  return found->minutes * 60;
}

}  // namespace ztp
