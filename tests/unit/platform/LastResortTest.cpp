// What a process still does that ends itself.
#include "platform/LastResort.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

[[noreturn]] void prepareAndAbort(const std::filesystem::path& directory) {
  LastResort::prepare();
  LastResort::remember(directory);
  std::abort();
}

TEST(LastResortDeathTest, TheDirectoryGoesWithAllInItAndALineSaysWhy) {
  const ScratchDirectory scratch;
  const auto directory = scratch / "kept private";
  std::filesystem::create_directory(directory);
  fill(directory / "identity", "secret");
  EXPECT_EXIT(prepareAndAbort(directory), testing::ExitedWithCode(1),
              "^ERROR: The program had to end itself\n$");
  EXPECT_FALSE(std::filesystem::exists(directory));
  EXPECT_TRUE(std::filesystem::exists(scratch.path()));
}

TEST(LastResort, TheDirectoryCanBeRemovedBeforeTheEnd) {
  const ScratchDirectory scratch;
  const auto directory = scratch / "kept private";
  std::filesystem::create_directories(directory / "deeper");
  LastResort::remember(directory);
  LastResort::removeDirectory();
  LastResort::remember({});
  EXPECT_FALSE(std::filesystem::exists(directory));
  EXPECT_TRUE(std::filesystem::exists(scratch.path()));
}

TEST(LastResortDeathTest, WithoutADirectoryNothingIsRemoved) {
  EXPECT_EXIT(prepareAndAbort({}), testing::ExitedWithCode(1), "had to end itself");
}

}  // namespace
}  // namespace ztp::test
