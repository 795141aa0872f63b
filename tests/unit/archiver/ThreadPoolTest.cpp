// Threads and their queue.
#include "archiver/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace ztp::test {
namespace {

using archiver::ThreadPool;

// Keeps a worker busy until `open`.
class Gate {
 public:
  [[nodiscard]] std::future<void> occupy(ThreadPool& pool) {
    return pool.start([opened = opened_.get_future().share()] { opened.wait(); });
  }
  void open() { opened_.set_value(); }

 private:
  std::promise<void> opened_;
};

TEST(ThreadPool, TakesUpTheOldestWorkFirst) {
  ThreadPool pool(1);
  Gate gate;
  const std::future<void> busy = gate.occupy(pool);
  std::vector<int> done;
  std::vector<std::future<void>> results;
  results.reserve(20);
  for (int turn = 0; turn < 20; ++turn) {
    results.push_back(pool.start([&done, turn] { done.push_back(turn); }));
  }
  gate.open();
  for (auto& result : results) result.get();
  std::vector<int> inOrder(20);
  std::iota(inOrder.begin(), inOrder.end(), 0);
  EXPECT_EQ(done, inOrder);
}

TEST(ThreadPool, WorksSideBySide) {
  ThreadPool pool(2);
  std::promise<void> first;
  std::promise<void> second;
  const auto waits = pool.start([&] {
    first.set_value();
    second.get_future().wait();
  });
  const auto answers = pool.start([&] {
    first.get_future().wait();
    second.set_value();
  });
  waits.wait();
  answers.wait();
}

TEST(ThreadPool, ReturnsResultsAndExceptions) {
  ThreadPool pool(2);
  auto text = pool.start([] { return std::string("result"); });
  auto failure = pool.start([]() -> int { throw std::runtime_error("broken"); });
  EXPECT_EQ(text.get(), "result");
  EXPECT_THROW(failure.get(), std::runtime_error);
}

TEST(ThreadPool, WithoutThreadsTheWorkIsDoneWhenItsResultIsAskedFor) {
  ThreadPool pool(0);
  bool isDone = false;
  auto result = pool.start([&isDone] { isDone = true; });
  EXPECT_FALSE(isDone);
  result.get();
  EXPECT_TRUE(isDone);
}

TEST(ThreadPool, ItsEndWaitsOnlyForWhatHasBegun) {
  std::atomic<bool> hasBegun = false;
  std::atomic<bool> isDone = false;
  bool isNeverDone = true;
  std::future<void> dropped;
  {
    ThreadPool pool(1);
    static_cast<void>(pool.start([&] {
      hasBegun = true;
      hasBegun.notify_one();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      isDone = true;
    }));
    dropped = pool.start([&isNeverDone] { isNeverDone = false; });
    hasBegun.wait(false);
  }
  EXPECT_TRUE(isDone);
  EXPECT_TRUE(isNeverDone);
  EXPECT_THROW(dropped.get(), std::future_error);
}

}  // namespace
}  // namespace ztp::test
