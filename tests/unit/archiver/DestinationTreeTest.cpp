// Making files below a directory in which an enemy may have laid things out.
#include "archiver/DestinationTree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>

#include "archiver/ArchiveError.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using archiver::ArchiveError;
using archiver::DestinationTree;
using archiver::parseEntryName;
using archiver::PendingFile;

namespace fs = std::filesystem;

constexpr std::array<std::uint8_t, 3> newBytes = {'n', 'e', 'w'};

class DestinationTreeTest : public testing::Test {
 protected:
  void putFile(const std::string& name) {
    PendingFile file = tree_.beginFile(parseEntryName(name), 0644);
    file.write(newBytes);
    tree_.put(std::move(file), 1'000'000'000);
  }

  std::string refusalOfFile(const std::string& name) {
    try {
      putFile(name);
    } catch (const ArchiveError& error) {
      return error.what();
    }
    return "";
  }

  ScratchDirectory outside_;
  ScratchDirectory directory_;
  DestinationTree tree_{directory_.path()};
};

TEST_F(DestinationTreeTest, makesFilesAndTheDirectoriesAboveThem) {
  putFile("a/b/file");
  EXPECT_EQ(directory_.names(), (std::vector<std::string>{"a/", "a/b/", "a/b/file"}));
  EXPECT_EQ(directory_.read("a/b/file"), "new");
}

TEST_F(DestinationTreeTest, setsTimes) {
  tree_.makeDirectory(parseEntryName("a/"), 0750);
  putFile("a/file");
  tree_.setDirectoryTime(parseEntryName("a/"), 900'000'000);
  struct stat status {};
  ASSERT_EQ(::stat((directory_.path() / "a/file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, 1'000'000'000);
  ASSERT_EQ(::stat((directory_.path() / "a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, 900'000'000);
}

TEST_F(DestinationTreeTest, replacesAFileThatWasThere) {
  directory_.write("file", "old and longer");
  putFile("file");
  EXPECT_EQ(directory_.read("file"), "new");
}

TEST_F(DestinationTreeTest, replacesALinkAndNotItsTarget) {
  outside_.write("target", "untouched");
  fs::create_symlink(outside_.path() / "target", directory_.path() / "file");
  putFile("file");
  EXPECT_FALSE(fs::is_symlink(directory_.path() / "file"));
  EXPECT_EQ(directory_.read("file"), "new");
  EXPECT_EQ(outside_.read("target"), "untouched");
}

TEST_F(DestinationTreeTest, replacesAHardLinkAndNotItsOtherName) {
  outside_.write("other", "untouched");
  fs::create_hard_link(outside_.path() / "other", directory_.path() / "file");
  putFile("file");
  EXPECT_EQ(outside_.read("other"), "untouched");
}

TEST_F(DestinationTreeTest, entersNoLinkToADirectory) {
  fs::create_directory_symlink(outside_.path(), directory_.path() / "a");
  EXPECT_EQ(refusalOfFile("a/file"), "cannot use the directory 'a': Not a directory");
  EXPECT_EQ(outside_.names(), std::vector<std::string>{});
}

TEST_F(DestinationTreeTest, entersNoFile) {
  putFile("a");
  EXPECT_EQ(refusalOfFile("a/file"), "cannot use the directory 'a': Not a directory");
}

TEST_F(DestinationTreeTest, putsNoFileInPlaceOfADirectory) {
  directory_.write("a/kept", "kept");
  EXPECT_EQ(refusalOfFile("a"), "cannot be put in its place: Is a directory");
  EXPECT_EQ(directory_.names(), (std::vector<std::string>{"a/", "a/kept"}));
}

// A file system that ignores case or normalisation answers for both names with one file: what is
// seen here with one name twice is what happens there with two.
TEST_F(DestinationTreeTest, replacesNothingThatItHasMadeItself) {
  putFile("file");
  EXPECT_EQ(refusalOfFile("file"), "another entry has its name");
  EXPECT_THROW(tree_.makeLink(parseEntryName("file"), "x", 0), ArchiveError);
  EXPECT_EQ(directory_.names(), std::vector<std::string>{"file"});
}

TEST_F(DestinationTreeTest, leavesNothingOfAFileThatIsNotPut) {
  {
    PendingFile file = tree_.beginFile(parseEntryName("file"), 0644);
    file.write(newBytes);
    EXPECT_EQ(directory_.names().size(), 1U);
    EXPECT_EQ(directory_.read("file"), "(missing)");
  }
  EXPECT_EQ(directory_.names(), std::vector<std::string>{});
}

TEST_F(DestinationTreeTest, leavesTheModeOfADirectoryThatWasThere) {
  fs::create_directory(directory_.path() / "a");
  fs::permissions(directory_.path() / "a", fs::perms::owner_all);
  tree_.makeDirectory(parseEntryName("a/"), 0755);
  EXPECT_EQ(fs::status(directory_.path() / "a").permissions(), fs::perms::owner_all);
}

TEST_F(DestinationTreeTest, makesTheDestinationItself) {
  const DestinationTree tree(directory_.path() / "new" / "deep");
  EXPECT_EQ(directory_.names(), (std::vector<std::string>{"new/", "new/deep/"}));
}

TEST_F(DestinationTreeTest, refusesADestinationThatIsAFile) {
  directory_.write("file", "");
  EXPECT_THROW(DestinationTree(directory_.path() / "file"), ArchiveError);
}

}  // namespace
}  // namespace ztp::test
