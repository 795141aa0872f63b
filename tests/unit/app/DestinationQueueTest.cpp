// The queue of destinations: order, what is left out, and what it costs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/DestinationQueue.h"

namespace ztp::test {
namespace {

using Texts = std::vector<std::string>;

Texts taken(DestinationQueue& queue) {
  Texts all;
  while (!queue.isEmpty()) all.push_back(queue.takeFirst());
  return all;
}

TEST(DestinationQueue, IsEmptyAtFirst) {
  EXPECT_TRUE(DestinationQueue().isEmpty());
}

TEST(DestinationQueue, PutsNewOnesAheadInTheirOrder) {
  DestinationQueue queue;
  queue.push({"z"});
  queue.push({"x", "y"});
  EXPECT_EQ(taken(queue), (Texts{"x", "y", "z"}));
  EXPECT_TRUE(queue.isEmpty());
}

TEST(DestinationQueue, TrimsAndLeavesOutTheEmptyOnes) {
  DestinationQueue queue;
  queue.push({"", " ", "  ssh://a@b:1\n", "\t", "c"});
  EXPECT_EQ(taken(queue), (Texts{"ssh://a@b:1", "c"}));
}

TEST(DestinationQueue, IsEmptyAfterEmptyOnesOnly) {
  DestinationQueue queue;
  queue.push({"", " "});
  queue.push({});
  EXPECT_TRUE(queue.isEmpty());
}

TEST(DestinationQueue, GoesOnBehindWhatWasPutAhead) {
  DestinationQueue queue;
  queue.push({"a", "b"});
  EXPECT_EQ(queue.takeFirst(), "a");
  queue.push({"c"});
  EXPECT_EQ(taken(queue), (Texts{"c", "b"}));
}

// Redirects of 30,001 destinations each would be seconds for every one of them if a push moved what
// is queued, and hundreds of megabytes if each destination were an object.
TEST(DestinationQueue, TakesMillions) {
  const Texts many(30'001, "x");
  DestinationQueue queue;
  for (int push = 0; push < 200; ++push) queue.push(many);
  std::size_t count = 0;
  for (; !queue.isEmpty(); ++count) ASSERT_EQ(queue.takeFirst(), "x");
  EXPECT_EQ(count, 6'000'200U);
}

}  // namespace
}  // namespace ztp::test
