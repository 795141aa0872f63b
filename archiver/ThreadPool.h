// Threads that take up work in the order in which it was queued.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace ztp::archiver {

/// A few threads and a queue. The oldest work comes first: whoever waits for results in their order
/// finds the next one finished or under way. Only one thread may queue work.
class ThreadPool {
 public:
  /// That many threads, started with the first work.
  explicit ThreadPool(unsigned count) : count_(count) {}
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;
  /// Waits for the work that has begun; what has not is dropped.
  ~ThreadPool();

  /// Queues the work; where no thread can be had it is done when its result is asked for.
  template <typename Work>
  [[nodiscard]] std::future<std::invoke_result_t<Work>> start(Work work) {
    if (!haveThreads()) return std::async(std::launch::deferred, std::move(work));
    auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Work>()>>(std::move(work));
    auto result = task->get_future();
    add([task = std::move(task)] { (*task)(); });
    return result;
  }

 private:
  [[nodiscard]] bool haveThreads();
  void add(std::function<void()> work);
  void run();

  unsigned count_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> queue_;
  bool isOver_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace ztp::archiver
