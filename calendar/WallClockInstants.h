// What a time on a zone's clocks may stand for.
#pragma once

#include "calendar/Timestamp.h"

namespace ztp {

/// How often a zone's clocks show a time.
enum class WallClockKind {
  unique,    ///< once
  skipped,   ///< never: the clocks are set forward past it
  repeated,  ///< twice: the clocks are set back to before it
};

/// The instants that a time on a zone's clocks may stand for. 2019 in New York:
///   02:30 on 10 March     skipped: 07:30 UTC by the offset before, 06:30 by that after
///   01:30 on 3 November   repeated: 05:30 UTC and, by the offset after, 06:30
struct WallClockInstants {
  WallClockKind kind = WallClockKind::unique;
  /// Read with the offset before the change and with that after it; the same for a unique time.
  Timestamp byOffsetBefore;
  Timestamp byOffsetAfter;
  /// When the clocks change; the instant itself for a unique time.
  Timestamp change;
};

}  // namespace ztp
