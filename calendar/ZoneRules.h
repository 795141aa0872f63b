// ZoneRules: what a TimeZone points to: the offsets of one zone file in a form that answers in a
// few nanoseconds. Read once through Abseil, never changed, shared by all threads. Not installed.
#pragma once

#include <absl/time/time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ztp {

/// The offsets of one zone. All times are seconds since 2001-01-01 00:00:00, offsets are seconds
/// east of GMT.
class ZoneRules {
 public:
  /// The rules of a zone file, by its IANA name or absolute path; null when it cannot be read.
  static std::unique_ptr<const ZoneRules> load(const std::string& fileName);

  /// One offset at all times.
  ZoneRules(std::string name, std::int32_t offset);

  /// The name that the rules were asked for by.
  [[nodiscard]] const std::string& name() const { return name_; }
  /// The offset at an instant.
  [[nodiscard]] std::int32_t offsetAt(std::int64_t instant) const;
  /// The offset of a reading of the zone's clocks: that before a gap, the first of two.
  [[nodiscard]] std::int32_t offsetAtWallClock(std::int64_t wallClock) const;

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

  std::string name_;
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
