// Timestamp: an exact instant; Date: an instant that stands for a calendar day. The two words of
// the whole calendar library, and the only types that its other headers all share.
#pragma once

#include <compare>

#include "calendar/Export.h"

namespace ztp {

/// An instant: seconds since 2001-01-01 00:00:00 UTC, fractions included, leap seconds not counted.
/// A plain value, as cheap to pass as the double it holds. An absent one is an empty std::optional.
///   Timestamp(0.0)                        // 2001-01-01 00:00:00 UTC
///   Timestamp::fromUnixSeconds(0.0)       // 1970-01-01 00:00:00 UTC
class ZANBURY_CALENDAR_API Timestamp {
 public:
  /// Unix time of the reference instant 2001-01-01 00:00:00 UTC, in seconds.
  static constexpr double unixSecondsOfReference = 978307200.0;

  /// The reference instant itself.
  constexpr Timestamp() = default;
  constexpr explicit Timestamp(double secondsSinceReference) : seconds_(secondsSinceReference) {}

  /// The instant `seconds` after 1970-01-01 00:00:00 UTC.
  static constexpr Timestamp fromUnixSeconds(double seconds) {
    return Timestamp(seconds - unixSecondsOfReference);
  }
  /// This moment, by the system's clock.
  [[nodiscard]] static Timestamp now();

  /// Seconds from 2001-01-01 00:00:00 UTC, negative before.
  [[nodiscard]] constexpr double secondsSinceReference() const { return seconds_; }
  /// Seconds from 1970-01-01 00:00:00 UTC, negative before.
  [[nodiscard]] constexpr double unixSeconds() const { return seconds_ + unixSecondsOfReference; }

  /// Earlier is less; equal means the same number of seconds, exactly. What is no number is
  /// neither.
  friend constexpr bool operator==(Timestamp, Timestamp) = default;
  friend constexpr std::partial_ordering operator<=>(Timestamp left, Timestamp right) {
    return left.seconds_ <=> right.seconds_;
  }
  /// The instant `seconds` later (earlier when negative).
  friend constexpr Timestamp operator+(Timestamp instant, double seconds) {
    return Timestamp(instant.seconds_ + seconds);
  }
  /// Seconds from the second instant to the first.
  friend constexpr double operator-(Timestamp later, Timestamp earlier) {
    return later.seconds_ - earlier.seconds_;
  }

 private:
  double seconds_ = 0.0;
};

/// A calendar day, held as the instant 12:00:00 UTC of that day: it shows as the same day in every
/// zone from UTC-11 to UTC+11. ZDateUtilities makes them, and coerces other instants into them.
using Date = Timestamp;

}  // namespace ztp
