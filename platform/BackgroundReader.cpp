// One-at-a-time reads over a readiness watcher and one buffer that is used again and again.
#include "platform/BackgroundReader.h"

#include <cerrno>
#include <optional>

#include <unistd.h>

#include "platform/ReadinessWatcher.h"

namespace ztp {

struct BackgroundReader::State : std::enable_shared_from_this<State> {
  int fileDescriptor = -1;
  Data buffer;
  Callback callback;
  std::optional<ReadinessWatcher> watcher;
  bool isArmed = false;

  void readAndNotify() {
    const auto keptAlive = shared_from_this();
    const ssize_t count = ::read(fileDescriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    isArmed = false;
    // A broken stream has ended: that is all its reader can do about it.
    const auto size = count > 0 ? static_cast<std::size_t>(count) : 0;
    callback(DataView(buffer.data(), size));
    // A quiet stream would keep what was read last until something else overwrites it.
    wipe(buffer.data(), size);
    if (!isArmed) watcher.reset();
  }
};

BackgroundReader::BackgroundReader(int fileDescriptor, std::size_t maximumLength, Callback callback)
    : state_(std::make_shared<State>()) {
  state_->fileDescriptor = fileDescriptor;
  state_->buffer.resize(maximumLength);
  state_->callback = std::move(callback);
}

BackgroundReader::~BackgroundReader() {
  if (!state_) return;
  state_->isArmed = false;
  state_->watcher.reset();
}

void BackgroundReader::readInBackgroundAndNotify() {
  state_->isArmed = true;
  if (state_->watcher) return;
  state_->watcher.emplace(state_->fileDescriptor, ReadinessWatcher::Interest::readable,
                          [state = state_.get()] { state->readAndNotify(); });
}

}  // namespace ztp
