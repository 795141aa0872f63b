// One lock for the queue; the work itself is done outside it.
#include "archiver/ThreadPool.h"

#include <system_error>

namespace ztp::archiver {

ThreadPool::~ThreadPool() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool ThreadPool::haveThreads() {
  try {
    while (threads_.size() < count_) threads_.emplace_back([this] { run(); });
  } catch (const std::system_error&) {
    count_ = static_cast<unsigned>(threads_.size());
  }
  return !threads_.empty();
}

void ThreadPool::add(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    queue_.push_back(std::move(work));
  }
  changed_.notify_one();
}

void ThreadPool::run() {
  for (;;) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isOver_ || !queue_.empty(); });
    if (isOver_) return;
    const auto work = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    work();
  }
}

}  // namespace ztp::archiver
