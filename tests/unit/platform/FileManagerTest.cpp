// File-system operations on real files.
#include "platform/FileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileHandle.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

class FileManagerTest : public testing::Test {
 protected:
  ScratchDirectory scratch;
};

TEST_F(FileManagerTest, ALinkIsAnItemEvenWhenItLeadsNowhere) {
  fs::create_symlink("nowhere", scratch / "link");
  EXPECT_TRUE(FileManager::itemExists(scratch / "link"));
  EXPECT_FALSE(FileManager::itemExists(scratch / "missing"));
}

TEST_F(FileManagerTest, OnlyWhatNothingCanBeAtIsSurelyAbsent) {
  fill(scratch / "file", "");
  EXPECT_FALSE(FileManager::isSurelyAbsent(scratch / "file"));
  EXPECT_TRUE(FileManager::isSurelyAbsent(scratch / "missing"));
  EXPECT_TRUE(FileManager::isSurelyAbsent(scratch / "file/below"));
  EXPECT_TRUE(FileManager::isSurelyAbsent(scratch / std::string(300, 'x')));
  fs::create_symlink("loop", scratch / "loop");
  EXPECT_FALSE(FileManager::isSurelyAbsent(scratch / "loop/unknown")) << "nobody can look there";
}

TEST_F(FileManagerTest, AnEmptyFileIsMadeWithItsModeAndEmptiesWhatIsThere) {
  EXPECT_FALSE(FileManager::createEmptyFile(scratch / "identity", 0600));
  EXPECT_EQ(modeOf(scratch / "identity"), 0600U);
  fill(scratch / "full", "text");
  EXPECT_FALSE(FileManager::createEmptyFile(scratch / "full"));
  EXPECT_EQ(contentOf(scratch / "full"), "");
}

TEST_F(FileManagerTest, WritingReplacesTheContentAndKeepsTheMode) {
  fill(scratch / "file", "a long old text");
  ASSERT_EQ(::chmod((scratch / "file").c_str(), 0640), 0);
  EXPECT_FALSE(FileManager::writeFile(scratch / "file", bytesOf("new")));
  EXPECT_EQ(contentOf(scratch / "file"), "new");
  EXPECT_EQ(modeOf(scratch / "file"), 0640U);
  EXPECT_FALSE(FileManager::writeFile(scratch / "fresh", bytesOf("x")));
  EXPECT_EQ(modeOf(scratch / "fresh") & 0077U, 0U);
}

TEST_F(FileManagerTest, ErrorsNameTheCallThePathAndTheReason) {
  const auto missing = scratch / "missing" / "file";
  EXPECT_EQ(FileManager::writeFile(missing, {})->description,
            "open " + missing.string() + ": No such file or directory");
  EXPECT_EQ(FileManager::readFile(missing, 100).error().description,
            "open " + missing.string() + ": No such file or directory");
  EXPECT_EQ(FileManager::fileSize(missing).error().description,
            "stat " + missing.string() + ": No such file or directory");
  EXPECT_FALSE(FileManager::contentsOfDirectory(missing).has_value());
}

TEST_F(FileManagerTest, AFullDiskIsAnError) {
  const auto error = FileManager::writeFile("/dev/full", bytesOf("x"));
  ASSERT_TRUE(error);
  EXPECT_NE(error->description.find("No space left on device"), std::string::npos);
}

TEST_F(FileManagerTest, ReadsTheWholeFileIfItIsNoLargerThanAllowed) {
  const std::string content(3'000'000, 'z');
  fill(scratch / "file", content);
  const auto read = FileManager::readFile(scratch / "file", content.size());
  EXPECT_EQ(textOf(read.value()), content);
  EXPECT_EQ(FileManager::readFile(scratch / "file", content.size() - 1).error().description,
            "read " + (scratch / "file").string() + ": File too large");
  EXPECT_TRUE(FileManager::readFile("/dev/null", 0).value().empty());
}

TEST_F(FileManagerTest, RemovesFilesTreesAndLinksButNotWhatLinksLeadTo) {
  fs::create_directories(scratch / "tree/deep");
  fill(scratch / "tree/deep/file", "x");
  fill(scratch / "kept", "x");
  fs::create_symlink(scratch / "kept", scratch / "tree/link");
  EXPECT_FALSE(FileManager::removeItem(scratch / "tree"));
  EXPECT_FALSE(fs::exists(scratch / "tree"));
  EXPECT_TRUE(fs::exists(scratch / "kept"));
  EXPECT_FALSE(FileManager::removeItem(scratch / "missing"));
}

TEST_F(FileManagerTest, CopiesATreeWithModesAndTimesAndWithoutSetIdBits) {
  fs::create_directories(scratch / "from/sub");
  fill(scratch / "from/sub/file", "content");
  ASSERT_EQ(::chmod((scratch / "from/sub/file").c_str(), 04755), 0);
  const auto time = fs::last_write_time(scratch / "from/sub/file") - std::chrono::hours(24);
  fs::last_write_time(scratch / "from/sub/file", time);
  EXPECT_FALSE(FileManager::copyItem(scratch / "from", scratch / "to"));
  EXPECT_EQ(contentOf(scratch / "to/sub/file"), "content");
  EXPECT_EQ(modeOf(scratch / "to/sub/file"), 0755U);
  EXPECT_EQ(fs::last_write_time(scratch / "to/sub/file"), time);
}

TEST_F(FileManagerTest, FollowsALinkNamedAsTheSource) {
  fill(scratch / "file", "content");
  fs::create_symlink("file", scratch / "link");
  EXPECT_FALSE(FileManager::copyItem(scratch / "link", scratch / "copy"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(scratch / "copy")));
}

TEST_F(FileManagerTest, KeepsLinksInsideATree) {
  fs::create_directory(scratch / "from");
  fs::create_symlink("nowhere", scratch / "from/link");
  EXPECT_FALSE(FileManager::copyItem(scratch / "from", scratch / "to"));
  EXPECT_EQ(fs::read_symlink(scratch / "to/link"), "nowhere");
}

TEST_F(FileManagerTest, AFailedCopyLeavesNothing) {
  fs::create_directories(scratch / "from/sub");
  fill(scratch / "from/sub/file", "content");
  ASSERT_EQ(::mkfifo((scratch / "from/sub/fifo").c_str(), 0600), 0);
  EXPECT_TRUE(FileManager::copyItem(scratch / "from", scratch / "to"));
  EXPECT_FALSE(fs::exists(scratch / "to"));
}

TEST_F(FileManagerTest, CopiesNeitherOntoAnythingNorASpecialFile) {
  fill(scratch / "file", "new");
  fill(scratch / "there", "old");
  EXPECT_TRUE(FileManager::copyItem(scratch / "file", scratch / "there"));
  EXPECT_EQ(contentOf(scratch / "there"), "old");
  ASSERT_EQ(::mkfifo((scratch / "fifo").c_str(), 0600), 0);
  EXPECT_TRUE(FileManager::copyItem(scratch / "fifo", scratch / "copy"));
  EXPECT_TRUE(FileManager::copyItem(scratch / "missing", scratch / "copy"));
}

}  // namespace
}  // namespace ztp::test
