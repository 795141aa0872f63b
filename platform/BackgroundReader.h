// Reading without waiting for it: one read at a time, each asked for.
#pragma once

#include <functional>
#include <memory>

#include "platform/Data.h"

namespace ztp {

/// Reads from a descriptor through the run loop. Each call of `readInBackgroundAndNotify` leads to
/// one call of the callback with the bytes of one read; an empty view is the end of the stream.
/// The view is valid during the call only. The descriptor is borrowed. Destroying the reader within
/// its own callback is allowed; nothing is delivered after that.
class BackgroundReader {
 public:
  using Callback = std::function<void(DataView)>;

  BackgroundReader(int fileDescriptor, std::size_t maximumLength, Callback callback);
  BackgroundReader(BackgroundReader&&) noexcept = default;
  BackgroundReader& operator=(BackgroundReader&&) noexcept = default;
  ~BackgroundReader();

  /// Arms the next read. From within the callback this costs no system call.
  void readInBackgroundAndNotify();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace ztp
