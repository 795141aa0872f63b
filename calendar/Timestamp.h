// Timestamp: an exact instant; Date: an instant that stands for a calendar day. The two words of
// the whole calendar library, and the only types that its other headers all share.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

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
  [[nodiscard]] static constexpr Timestamp fromUnixSeconds(double seconds) {
    return Timestamp(seconds - unixSecondsOfReference);
  }
  /// This moment, by the system's clock.
  [[nodiscard]] static Timestamp now();

  /// Seconds from 2001-01-01 00:00:00 UTC, negative before.
  [[nodiscard]] constexpr double secondsSinceReference() const { return seconds_; }
  /// Seconds from 1970-01-01 00:00:00 UTC, negative before.
  [[nodiscard]] constexpr double unixSeconds() const { return seconds_ + unixSecondsOfReference; }

  /// Earlier is less; equal means the same number of seconds, exactly. What is not a number is
  /// neither.
  [[nodiscard]] friend constexpr bool operator==(Timestamp, Timestamp) = default;
  [[nodiscard]] friend constexpr std::partial_ordering operator<=>(Timestamp left,
                                                                   Timestamp right) {
    return left.seconds_ <=> right.seconds_;
  }
  /// The instant `seconds` later or earlier (the other way round when negative). Chrono.h has the
  /// same for durations.
  [[nodiscard]] friend constexpr Timestamp operator+(Timestamp instant, double seconds) {
    return Timestamp(instant.seconds_ + seconds);
  }
  [[nodiscard]] friend constexpr Timestamp operator-(Timestamp instant, double seconds) {
    return Timestamp(instant.seconds_ - seconds);
  }
  constexpr Timestamp& operator+=(double seconds) {
    seconds_ += seconds;
    return *this;
  }
  constexpr Timestamp& operator-=(double seconds) {
    seconds_ -= seconds;
    return *this;
  }
  /// Seconds from the second instant to the first.
  [[nodiscard]] friend constexpr double operator-(Timestamp later, Timestamp earlier) {
    return later.seconds_ - earlier.seconds_;
  }

 private:
  double seconds_ = 0.0;
};

/// A calendar day, held as the instant 12:00:00 UTC of that day: it shows as the same day in every
/// zone from UTC-11 to UTC+11. ZDateUtilities makes them, and coerces other instants into them.
using Date = Timestamp;

/// "2019-03-15T13:30:00Z", with the digits of the fraction that is there, to the microsecond:
/// "2019-03-15T13:30:00.25Z" (ISO 8601). Years above 9999 have five digits and more. Beyond the
/// calendar's range "1e+300 s since 2001". A Date is a Timestamp to the compiler and prints as one
/// ("2019-03-15T12:00:00Z"): the text of its day is ZDateUtilities::ISO8601StringFromDate, or
/// "{:d}" of Format.h.
[[nodiscard]] ZANBURY_CALENDAR_API std::string toString(Timestamp instant);
/// Writes the same.
ZANBURY_CALENDAR_API std::ostream& operator<<(std::ostream& out, Timestamp instant);

}  // namespace ztp

/// Instants as keys: equal ones have equal hashes.
template <>
struct std::hash<ztp::Timestamp> {
  [[nodiscard]] std::size_t operator()(ztp::Timestamp instant) const noexcept {
    return std::hash<double>{}(instant.secondsSinceReference());
  }
};
