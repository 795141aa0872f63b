// ZoneRules: copies the offset changes out of Abseil's zone once, and finds the period of an
// instant by an index of equal spans of time.
#include "calendar/ZoneRules.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

constexpr std::int64_t unixReference = 978'307'200;
// The rules of a file that never end are copied up to the year 2300.
constexpr std::int64_t lastCopied = dayNumberFromCivilDate({2300, 1, 1}) * secondsPerDay;
// 2^22 seconds are 48 days: seldom more than one change in a span.
constexpr int spanShift = 22;
// No calendar day is further away; beyond it offsets are those of the last instant before it.
constexpr std::int64_t farthest = latestSecond;

absl::Time timeFromInstant(std::int64_t instant) {
  return absl::FromUnixSeconds(instant + unixReference);
}

std::int64_t instantFromTime(absl::Time time) {
  return absl::ToUnixSeconds(time) - unixReference;
}

}  // namespace

std::unique_ptr<const ZoneRules> ZoneRules::load(const std::string& fileName) {
  absl::TimeZone zone;
  if (!absl::LoadTimeZone(fileName, &zone)) return nullptr;
  return std::unique_ptr<const ZoneRules>(std::make_unique<ZoneRules>(ZoneRules(fileName, zone)));
}

ZoneRules::ZoneRules(std::string name, std::string abbreviation, std::int32_t offset)
    : name_(std::move(name)),
      abbreviation_(std::move(abbreviation)),
      periods_{{INT64_MIN, offset}} {}

ZoneRules::ZoneRules(std::string name, absl::TimeZone zone)
    : name_(std::move(name)), zone_(zone), tableEnd_(lastCopied) {
  readPeriods();
  indexPeriods();
}

void ZoneRules::readPeriods() {
  absl::Time at = timeFromInstant(-farthest);
  periods_.push_back({INT64_MIN, zone_.At(at).offset});
  absl::TimeZone::CivilTransition change;
  while (zone_.NextTransition(at, &change)) {
    at = zone_.At(change.to).trans;
    const std::int64_t begin = instantFromTime(at);
    if (begin >= lastCopied) break;
    const std::int32_t offset = zone_.At(at).offset;
    if (offset != periods_.back().offset) periods_.push_back({begin, offset});
  }
  for (const Period& period : periods_) {
    largestOffset_ = std::max(largestOffset_, std::abs(period.offset));
  }
}

void ZoneRules::indexPeriods() {
  if (periods_.size() < 2) return;
  const std::int64_t first = periods_[1].begin;
  std::uint32_t period = 1;
  for (std::int64_t start = first; start < lastCopied; start += std::int64_t{1} << spanShift) {
    while (period + 1 < periods_.size() && periods_[period + 1].begin <= start) ++period;
    periodAtSpan_.push_back(period);
  }
}

std::size_t ZoneRules::periodAt(std::int64_t instant) const {
  if (periods_.size() < 2 || instant < periods_[1].begin) return 0;
  const auto sinceFirst = static_cast<std::uint64_t>(instant - periods_[1].begin);
  std::size_t period = periodAtSpan_[sinceFirst >> spanShift];
  while (period + 1 < periods_.size() && periods_[period + 1].begin <= instant) ++period;
  return period;
}

std::int32_t ZoneRules::offsetAt(std::int64_t instant) const {
  if (instant >= tableEnd_) return zone_.At(timeFromInstant(std::min(instant, farthest))).offset;
  return periods_[periodAt(instant)].offset;
}

std::int32_t ZoneRules::offsetAtWallClock(std::int64_t wallClock) const {
  wallClock = std::clamp(wallClock, -farthest, farthest);
  // Two days before the table's end every change that could matter is still in the table.
  if (wallClock >= tableEnd_ - 2 * secondsPerDay) {
    const absl::Time asIfUTC = timeFromInstant(wallClock);
    const absl::TimeZone::TimeInfo found =
        zone_.At(absl::ToCivilSecond(asIfUTC, absl::UTCTimeZone()));
    return static_cast<std::int32_t>(absl::ToInt64Seconds(asIfUTC - found.pre));
  }
  const std::size_t period = periodAtWallClock(wallClock);
  const bool skipped = period > 0 && wallClock < periods_[period].begin + periods_[period].offset;
  return periods_[skipped ? period - 1 : period].offset;
}

std::size_t ZoneRules::periodAtWallClock(std::int64_t wallClock) const {
  std::size_t period = periodAt(wallClock - largestOffset_);
  // A period shows on the clocks what lies before its end by its own offset; what an earlier one
  // has shown already is taken from that.
  while (period + 1 < periods_.size() &&
         wallClock >= periods_[period + 1].begin + periods_[period].offset) {
    ++period;
  }
  return period;
}

ZoneRules::WallClockOffsets ZoneRules::offsetsAtWallClock(std::int64_t wallClock) const {
  if (!abbreviation_.empty()) {
    const std::int32_t offset = periods_.front().offset;
    return {WallClockKind::unique, offset, offset, wallClock - offset};
  }
  const absl::Time asIfUTC = timeFromInstant(wallClock);
  const absl::TimeZone::TimeInfo found =
      zone_.At(absl::ToCivilSecond(asIfUTC, absl::UTCTimeZone()));
  const auto offsetOf = [&asIfUTC](absl::Time instant) {
    return static_cast<std::int32_t>(absl::ToInt64Seconds(asIfUTC - instant));
  };
  const WallClockKind kind = found.kind == absl::TimeZone::TimeInfo::UNIQUE ? WallClockKind::unique
                             : found.kind == absl::TimeZone::TimeInfo::SKIPPED
                                 ? WallClockKind::skipped
                                 : WallClockKind::repeated;
  return {kind, offsetOf(found.pre), offsetOf(found.post), instantFromTime(found.trans)};
}

std::string ZoneRules::abbreviationAt(std::int64_t instant) const {
  return abbreviation_.empty() ? zone_.At(timeFromInstant(instant)).zone_abbr : abbreviation_;
}

bool ZoneRules::isDaylightTimeAt(std::int64_t instant) const {
  return abbreviation_.empty() && zone_.At(timeFromInstant(instant)).is_dst;
}

ZoneRules::Transition ZoneRules::transitionTo(absl::CivilSecond newTime) const {
  const absl::Time at = zone_.At(newTime).trans;
  return {instantFromTime(at), zone_.At(at - absl::Seconds(1)).offset, zone_.At(at).offset};
}

std::optional<ZoneRules::Transition> ZoneRules::nextTransition(std::int64_t after) const {
  absl::TimeZone::CivilTransition change;
  if (!abbreviation_.empty() || !zone_.NextTransition(timeFromInstant(after), &change)) {
    return std::nullopt;
  }
  return transitionTo(change.to);
}

std::optional<ZoneRules::Transition> ZoneRules::previousTransition(std::int64_t before) const {
  absl::TimeZone::CivilTransition change;
  if (!abbreviation_.empty() || !zone_.PrevTransition(timeFromInstant(before), &change)) {
    return std::nullopt;
  }
  return transitionTo(change.to);
}

}  // namespace ztp
