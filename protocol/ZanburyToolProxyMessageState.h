// How far one message has been read or written.
#pragma once

#include <cstdint>

namespace ztp {

/// Reading goes ReadingType, ReadingLength, ReadingBody, FinishedReading; asynchronous writing goes
/// WritingAsynchronously, FinishedWriting; either can end in Aborted. Synchronous writing stays in
/// None throughout.
enum class ZanburyToolProxyMessageState : std::int64_t {
  None = 0,
  Aborted = 1,
  ReadingType = 2,
  ReadingLength = 3,
  ReadingBody = 4,
  FinishedReading = 5,
  WritingAsynchronously = 6,
  FinishedWriting = 7,
};

}  // namespace ztp
