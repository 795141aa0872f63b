// Working directories: made private, held by a lock, taken away when nobody holds them.
#include "platform/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view prefix = "Work.";

class TemporaryDirectoryTest : public testing::Test {
 protected:
  [[nodiscard]] std::size_t count() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(scratch.path()), fs::directory_iterator()));
  }
  ScratchDirectory scratch;
};

TEST_F(TemporaryDirectoryTest, IsPrivateAndNamedAfterThePattern) {
  const auto directory = TemporaryDirectory::create(scratch.path(), prefix);
  ASSERT_TRUE(directory);
  const std::string name = directory->path().filename();
  EXPECT_EQ(name.size(), prefix.size() + 6);
  EXPECT_TRUE(name.starts_with(prefix));
  struct stat status {};
  ASSERT_EQ(::stat(directory->path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST_F(TemporaryDirectoryTest, IsAbsentWhereNoneCanBeMade) {
  EXPECT_FALSE(TemporaryDirectory::create(scratch / "missing", prefix));
  TemporaryDirectory::removeStale(scratch / "missing", prefix);
}

TEST_F(TemporaryDirectoryTest, StaysWhileItIsHeldAndGoesWhenItIsNot) {
  auto held = TemporaryDirectory::create(scratch.path(), prefix);
  fs::path stale;
  {
    const auto dropped = TemporaryDirectory::create(scratch.path(), prefix);
    stale = dropped->path();
    fill(stale / "identity", "secret");
  }
  TemporaryDirectory::removeStale(scratch.path(), prefix);
  EXPECT_TRUE(fs::exists(held->path()));
  EXPECT_FALSE(fs::exists(stale));
}

TEST_F(TemporaryDirectoryTest, LeavesForeignNamesFilesAndLinksAlone) {
  fs::create_directory(scratch / "Work.toolong");
  fs::create_directory(scratch / "Work.a-b-c-");
  fs::create_directory(scratch / "Other.abcdef");
  fill(scratch / "Work.abcdef", "a file");
  fs::create_directory_symlink(scratch / "Other.abcdef", scratch / "Work.ghijkl");
  TemporaryDirectory::removeStale(scratch.path(), prefix);
  EXPECT_EQ(count(), 5U);
}

// Eight processes make and sweep as fast as they can: none ever loses the directory it holds.
TEST_F(TemporaryDirectoryTest, IsNeverTakenFromALiveProcess) {
  std::vector<pid_t> children;
  for (int process = 0; process < 8; ++process) {
    const pid_t pid = ::fork();
    if (pid != 0) {
      children.push_back(pid);
      continue;
    }
    for (int round = 0; round < 50; ++round) {
      TemporaryDirectory::removeStale(scratch.path(), prefix);
      const auto directory = TemporaryDirectory::create(scratch.path(), prefix);
      TemporaryDirectory::removeStale(scratch.path(), prefix);
      if (!directory || !fs::exists(directory->path())) ::_exit(1);
    }
    ::_exit(0);
  }
  for (const pid_t pid : children) {
    int status = -1;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
  }
  TemporaryDirectory::removeStale(scratch.path(), prefix);
  EXPECT_EQ(count(), 0U);
}

}  // namespace
}  // namespace ztp::test
