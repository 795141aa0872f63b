// ZoneRules: what a TimeZone points to: the offsets of one zone file in a form that answers in a
// few nanoseconds. Read once through Abseil, never changed, shared by all threads. Not installed.
#pragma once

#include <absl/time/civil_time.h>
#include <absl/time/time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calendar/WallClockInstants.h"

namespace ztp {

/// The offsets of one zone. All times are seconds since 2001-01-01 00:00:00, offsets are seconds
/// east of GMT.
class ZoneRules {
 public:
  /// The rules of a zone file, by its IANA name or absolute path; null when it cannot be read.
  static std::unique_ptr<const ZoneRules> load(const std::string& fileName);

  /// One offset at all times, under a name; the time is called by the abbreviation.
  ZoneRules(std::string name, std::string abbreviation, std::int32_t offset);

  /// The name that the rules were asked for by.
  [[nodiscard]] const std::string& name() const { return name_; }
  /// The offset at an instant.
  [[nodiscard]] std::int32_t offsetAt(std::int64_t instant) const;
  /// The offset of a reading of the zone's clocks: that before a gap, the first of two.
  [[nodiscard]] std::int32_t offsetAtWallClock(std::int64_t wallClock) const;

  /// Both offsets of a reading of the zone's clocks, the same when it is unique, and the instant of
  /// the change between them, that of the reading when it is unique.
  struct WallClockOffsets {
    WallClockKind kind;
    std::int32_t before;
    std::int32_t after;
    std::int64_t change;
  };
  [[nodiscard]] WallClockOffsets offsetsAtWallClock(std::int64_t wallClock) const;

  /// What the zone's time is called at an instant, and whether it is daylight time.
  [[nodiscard]] std::string abbreviationAt(std::int64_t instant) const;
  [[nodiscard]] bool isDaylightTimeAt(std::int64_t instant) const;

  /// A change, and the offsets on its two sides.
  struct Transition {
    std::int64_t instant;
    std::int32_t offsetBefore;
    std::int32_t offsetAfter;
  };
  /// The first change after an instant and the last one before it; absent when there is none.
  [[nodiscard]] std::optional<Transition> nextTransition(std::int64_t after) const;
  [[nodiscard]] std::optional<Transition> previousTransition(std::int64_t before) const;

 private:
  /// A time with one offset, which lasts until the next one begins.
  struct Period {
    std::int64_t begin;
    std::int32_t offset;
  };

  ZoneRules(std::string name, absl::TimeZone zone);
  void readPeriods();
  void indexPeriods();
  [[nodiscard]] std::size_t periodAt(std::int64_t instant) const;
  [[nodiscard]] std::size_t periodAtWallClock(std::int64_t wallClock) const;
  [[nodiscard]] Transition transitionTo(absl::CivilSecond newTime) const;

  std::string name_;
  std::string abbreviation_;  // of a single offset; the file has those of the others
  absl::TimeZone zone_;
  // Every offset of the zone up to tableEnd, in order; the first has no beginning.
  std::vector<Period> periods_;
  // For each span of time from the second period's beginning on: the period at the span's start.
  std::vector<std::uint32_t> periodAtSpan_;
  std::int32_t largestOffset_ = 0;
  // From here on (or always short of it, for a single offset) Abseil is asked.
  std::int64_t tableEnd_ = INT64_MAX;
};

}  // namespace ztp
