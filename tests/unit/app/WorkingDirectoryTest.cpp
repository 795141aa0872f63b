// The private directory, and that nothing of it stays.
#include "app/WorkingDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

class WorkingDirectoryTest : public testing::Test {
 protected:
  WorkingDirectoryTest() { ::setenv("TMPDIR", scratch.path().c_str(), 1); }
  ~WorkingDirectoryTest() override { ::unsetenv("TMPDIR"); }

  ScratchDirectory scratch;
};

TEST_F(WorkingDirectoryTest, IsPrivateAndGoesWithAllThatIsInIt) {
  {
    WorkingDirectory directory;
    EXPECT_TRUE(directory.temporaryDirectoryPath().empty());
    directory.createTemporaryDirectory();
    const fs::path path = directory.temporaryDirectoryPath();
    EXPECT_EQ(path.parent_path(), fs::canonical(scratch.path()));
    EXPECT_EQ(path.filename().string().substr(0, 17), "ZanburyToolProxy.");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0700));
    fs::create_directories(path / "deep/deeper");
    fill(path / "deep/deeper/file", "content");
    fs::permissions(path / "deep/deeper", fs::perms(0500));
  }
  EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST_F(WorkingDirectoryTest, GoesWhileTheStackUnwinds) {
  try {
    WorkingDirectory directory;
    directory.createTemporaryDirectory();
    EXPECT_FALSE(fs::is_empty(scratch.path()));
    throw 1;
  } catch (int) {
    EXPECT_TRUE(fs::is_empty(scratch.path()));
  }
}

TEST_F(WorkingDirectoryTest, IsMadeElsewhereWhereOthersMayWrite) {
  fs::permissions(scratch.path(), fs::perms(0777));
  testing::internal::CaptureStderr();
  {
    WorkingDirectory directory;
    directory.createTemporaryDirectory();
    EXPECT_EQ(directory.temporaryDirectoryPath().parent_path(), "/tmp");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: Others may write to " + scratch.path().string() +
                ": the working directory is made in /tmp\n");
}

TEST_F(WorkingDirectoryTest, RemovesItemsOfAnyKindAndMissesNone) {
  WorkingDirectory::removeItemAtPath("");
  WorkingDirectory::removeItemAtPath(scratch / "missing");
  const fs::path file = scratch.write("file", "content");
  fs::create_symlink(file, scratch / "link");
  WorkingDirectory::removeItemAtPath(scratch / "link");
  EXPECT_TRUE(fs::exists(file));
  WorkingDirectory::removeItemAtPath(file);
  scratch.write("tree/branch/leaf", "content");
  WorkingDirectory::removeItemAtPath(scratch / "tree");
  EXPECT_TRUE(fs::is_empty(scratch.path()));
}

}  // namespace
}  // namespace ztp::test
