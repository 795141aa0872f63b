// WireForms: the fixed text forms of instants, read and printed by position on integers. They give
// what the general way gives for the same patterns, at a tenth of its time. Not installed.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "calendar/ClockReading.h"

namespace ztp {

/// "2019-03-15T13:30:00Z"
std::optional<ClockReading> readISO8601(std::string_view text);
/// "2019-03-15T13:30:00.250Z"
std::optional<ClockReading> readISO8601Milliseconds(std::string_view text);
/// "Fri, 15 Mar 2019 13:30:00 +0000", or "GMT" for the offset
std::optional<ClockReading> readRFC1123(std::string_view text);

/// Whether the year of the clock has the four digits that the printed form holds.
bool isOfFourDigitYear(const ClockFace& face);
/// "2019-03-15T13:30:00Z", for a year of four digits.
std::string printISO8601(const ClockFace& face);

}  // namespace ztp
