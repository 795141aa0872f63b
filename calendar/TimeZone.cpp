// TimeZone: names, abbreviations and offsets become pointers to rules that are read once.
#include "calendar/TimeZone.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "calendar/LocalZone.h"
#include "calendar/WholeSeconds.h"
#include "calendar/ZoneAbbreviations.h"
#include "calendar/ZoneRegistry.h"
#include "calendar/ZoneRules.h"

namespace ztp {

namespace {

// Only what IANA names are made of: no dot, so no way out of the zone folder, and no colon.
bool isZoneName(std::string_view name) {
  constexpr std::size_t longest = 64;
  constexpr std::string_view allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_+-/";
  return !name.empty() && name.size() <= longest && !name.starts_with('/') &&
         name.find_first_not_of(allowed) == std::string_view::npos;
}

// "GMT-0500", "GMT+013015".
std::string nameOfOffset(std::int32_t offset) {
  const std::int32_t size = std::abs(offset);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "GMT%c%02d%02d", offset < 0 ? '-' : '+', size / 3600,
                size / 60 % 60);
  std::string name(text.data());
  if (size % 60 != 0) {
    std::snprintf(text.data(), text.size(), "%02d", size % 60);
    name += text.data();
  }
  return name;
}

// The whole second of any instant, the nearest one of the calendar beyond its range; what is no
// number counts as the reference.
std::int64_t secondWithinCalendar(Timestamp instant) {
  if (const std::optional<std::int64_t> seconds = wholeSeconds(instant)) return *seconds;
  if (std::isnan(instant.secondsSinceReference())) return 0;
  return instant < Timestamp() ? earliestSecond : latestSecond;
}

Timestamp timestampOf(std::int64_t seconds) {
  return Timestamp(static_cast<double>(seconds));
}

std::optional<ZoneTransition> transitionOf(const std::optional<ZoneRules::Transition>& found) {
  if (!found) return std::nullopt;
  return ZoneTransition{timestampOf(found->instant), found->offsetBefore, found->offsetAfter};
}

}  // namespace

TimeZone TimeZone::utc() {
  return TimeZone(utcZoneRules());
}

TimeZone TimeZone::local() {
  return TimeZone(localZoneRules());
}

std::optional<TimeZone> TimeZone::named(std::string_view name) {
  if (name == "UTC") return utc();
  // Abseil takes "UTC0" for a zone without a file; no zone folder has it.
  if (!isZoneName(name) || name == "UTC0") return std::nullopt;
  const ZoneRules* rules = zoneRulesOfFile(std::string(name));
  if (!rules) return std::nullopt;
  return TimeZone(*rules);
}

std::optional<TimeZone> TimeZone::fixed(std::int64_t secondsFromGMT) {
  constexpr std::int64_t secondsADay = 86'400;
  if (secondsFromGMT <= -secondsADay || secondsFromGMT >= secondsADay) return std::nullopt;
  if (secondsFromGMT == 0) return utc();
  const auto offset = static_cast<std::int32_t>(secondsFromGMT);
  return TimeZone(zoneRulesOfOffset("fixed", nameOfOffset(offset), offset));
}

std::optional<TimeZone> TimeZone::withAbbreviation(std::string_view abbreviation) {
  const std::optional<std::int32_t> offset = secondsFromGMTOfAbbreviation(abbreviation);
  if (!offset) return std::nullopt;
  return TimeZone(zoneRulesOfOffset("abbreviation", std::string(abbreviation), *offset));
}

std::string_view TimeZone::name() const {
  return rules_->name();
}

std::int32_t TimeZone::secondsFromGMT(Timestamp instant) const {
  return rules_->offsetAt(secondWithinCalendar(instant));
}

std::int32_t TimeZone::secondsFromGMTAtWallClock(std::int64_t wallClockSeconds) const {
  return rules_->offsetAtWallClock(wallClockSeconds);
}

WallClockInstants TimeZone::instantsAtWallClock(std::int64_t wallClockSeconds) const {
  const std::int64_t wallClock = std::clamp(wallClockSeconds, earliestSecond, latestSecond);
  const ZoneRules::WallClockOffsets found = rules_->offsetsAtWallClock(wallClock);
  return {found.kind, timestampOf(wallClock - found.before), timestampOf(wallClock - found.after),
          timestampOf(found.change)};
}

std::string TimeZone::abbreviation(Timestamp instant) const {
  return rules_->abbreviationAt(secondWithinCalendar(instant));
}

bool TimeZone::isDaylightTime(Timestamp instant) const {
  return rules_->isDaylightTimeAt(secondWithinCalendar(instant));
}

std::optional<ZoneTransition> TimeZone::nextTransition(Timestamp after) const {
  return transitionOf(rules_->nextTransition(secondWithinCalendar(after)));
}

std::optional<ZoneTransition> TimeZone::previousTransition(Timestamp before) const {
  const std::int64_t second = secondWithinCalendar(before);
  // A fraction of a second after a change, the change lies before.
  const bool isLater = timestampOf(second) < before;
  return transitionOf(rules_->previousTransition(second + (isLater ? 1 : 0)));
}

std::optional<Timestamp> instantByPolicy(const WallClockInstants& instants,
                                         WallClockPolicy policy) {
  switch (policy) {
    case WallClockPolicy::offsetBefore:
      return instants.byOffsetBefore;
    case WallClockPolicy::offsetAfter:
      return instants.byOffsetAfter;
    case WallClockPolicy::earlier:
      return std::min(instants.byOffsetBefore, instants.byOffsetAfter);
    case WallClockPolicy::later:
      return std::max(instants.byOffsetBefore, instants.byOffsetAfter);
    case WallClockPolicy::uniqueOnly:
      break;
  }
  if (instants.kind != WallClockKind::unique) return std::nullopt;
  return instants.byOffsetBefore;
}

}  // namespace ztp
