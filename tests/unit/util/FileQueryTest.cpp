// Directory listings, file sizes and the system's version.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/util/Bytes.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Utilities = ZanburyToolProxyUtilities;

TEST(PathsForContents, AreFullPathsOfOneLevelHiddenOnesIncluded) {
  const ScratchDirectory scratch;
  const auto file = scratch.write("file", "");
  const auto hidden = scratch.write(".hidden", "");
  fs::create_directories(scratch.path() / "folder" / "below");
  EXPECT_THAT(Utilities::pathsForContentsOfDirectory(scratch.path()),
              testing::UnorderedElementsAre(file, hidden, scratch.path() / "folder"));
}

TEST(PathsForContents, OfAPathWithASlashAtItsEndHaveOneSlash) {
  const ScratchDirectory scratch;
  const auto file = scratch.write("file", "");
  EXPECT_THAT(Utilities::pathsForContentsOfDirectory(scratch.path() / ""),
              testing::ElementsAre(file));
}

TEST(PathsForContents, OfAnEmptyDirectoryAreNone) {
  const ScratchDirectory scratch;
  CapturedLog log;
  EXPECT_TRUE(Utilities::pathsForContentsOfDirectory(scratch.path()).empty());
  EXPECT_EQ(log.text(), "");
}

TEST(PathsForContents, OfAMissingDirectoryAreNoneAndLogged) {
  CapturedLog log;
  EXPECT_TRUE(Utilities::pathsForContentsOfDirectory("/nonexistent").empty());
  EXPECT_EQ(log.text(), "opendir /nonexistent: No such file or directory\n");
}

TEST(FileSize, IsTheNumberOfBytes) {
  const ScratchDirectory scratch;
  EXPECT_EQ(Utilities::fileSizeForPath(scratch.write("file", pattern(12'345))), 12'345U);
}

TEST(FileSize, BeyondFourGigabytesIsExact) {
  const ScratchDirectory scratch;
  const auto file = scratch.write("sparse", "");
  fs::resize_file(file, 5'000'000'000);
  EXPECT_EQ(Utilities::fileSizeForPath(file), 5'000'000'000U);
}

TEST(FileSize, OfAnEmptyFileIsZeroWithoutALine) {
  const ScratchDirectory scratch;
  CapturedLog log;
  EXPECT_EQ(Utilities::fileSizeForPath(scratch.write("file", "")), 0U);
  EXPECT_EQ(log.text(), "");
}

TEST(FileSize, OfAMissingFileIsZeroAndLogged) {
  CapturedLog log;
  EXPECT_EQ(Utilities::fileSizeForPath("/nonexistent"), 0U);
  EXPECT_EQ(log.text(), "stat /nonexistent: No such file or directory\n");
}

TEST(SystemVersion, IsDottedAndStaysTheSame) {
  const auto version = Utilities::systemVersion();
  EXPECT_THAT(version.value(), testing::MatchesRegex("[0-9]+([.][0-9]+)+"));
  EXPECT_EQ(Utilities::systemVersion(), version);
}

}  // namespace
}  // namespace ztp::test
