// The loop, and on it what platform/ declares about its own.
#include "tests/inprocess/TurnedLoop.h"

#include <algorithm>
#include <vector>

#include <poll.h>

#include "platform/DelayedPerform.h"
#include "platform/ReadinessWatcher.h"
#include "platform/Timer.h"

namespace ztp {
namespace test {
namespace {

std::vector<std::shared_ptr<TurnedLoop::Item>> items;

bool isReady(const TurnedLoop::Item& item) {
  if (item.fileDescriptor == -1) return true;
  pollfd descriptor{item.fileDescriptor, item.events, 0};
  return ::poll(&descriptor, 1, 0) == 1;
}

}  // namespace

void TurnedLoop::add(std::shared_ptr<Item> item) {
  items.push_back(std::move(item));
}

void TurnedLoop::close(Item& item) {
  item.isOpen = false;
  std::erase_if(items, [&](const auto& other) { return other.get() == &item; });
}

bool TurnedLoop::turn() {
  bool hasCalled = false;
  for (const auto& item : std::vector(items)) {
    if (item->isTimer || !item->isOpen || !isReady(*item)) continue;
    hasCalled = true;
    item->callback();
  }
  return hasCalled;
}

void TurnedLoop::passTime() {
  for (const auto& item : std::vector(items)) {
    if (item->isTimer && item->isOpen) item->callback();
  }
}

std::size_t TurnedLoop::count() {
  return items.size();
}

}  // namespace test

using test::TurnedLoop;

struct Timer::State {
  std::shared_ptr<TurnedLoop::Item> item = std::make_shared<TurnedLoop::Item>();
};

struct DelayedPerform::State {
  std::shared_ptr<TurnedLoop::Item> item = std::make_shared<TurnedLoop::Item>();
};

struct ReadinessWatcher::State {
  std::shared_ptr<TurnedLoop::Item> item = std::make_shared<TurnedLoop::Item>();
};

namespace {

template <typename State>
void closeAndDestroy(State* state) {
  const std::unique_ptr<State> destroyed(state);
  TurnedLoop::close(*state->item);
}

}  // namespace

void Timer::Closer::operator()(State* state) const noexcept {
  closeAndDestroy(state);
}

void DelayedPerform::Closer::operator()(State* state) const noexcept {
  closeAndDestroy(state);
}

void ReadinessWatcher::Closer::operator()(State* state) const noexcept {
  closeAndDestroy(state);
}

Timer::Timer(std::chrono::milliseconds /*interval*/, Callback callback) : state_(new State) {
  state_->item->callback = std::move(callback);
  state_->item->isTimer = true;
  TurnedLoop::add(state_->item);
}

DelayedPerform::DelayedPerform(std::chrono::milliseconds /*delay*/, Callback callback)
    : state_(new State) {
  state_->item->callback = [item = state_->item.get(), once = std::move(callback)] {
    TurnedLoop::close(*item);
    once();
  };
  TurnedLoop::add(state_->item);
}

ReadinessWatcher::ReadinessWatcher(int fileDescriptor, Interest interest, Callback callback)
    : state_(new State) {
  state_->item->callback = std::move(callback);
  state_->item->fileDescriptor = fileDescriptor;
  state_->item->events = interest == Interest::readable ? POLLIN : POLLOUT;
  TurnedLoop::add(state_->item);
}

}  // namespace ztp
