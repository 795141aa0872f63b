// Files for nobody but their owner: new, of the right mode, never somebody else's.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <initializer_list>

#include "platform/FileManager.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

class PrivateFile : public testing::Test {
 protected:
  ScratchDirectory scratch;
};

TEST_F(PrivateFile, IsForItsOwnerWhateverTheUmask) {
  for (const mode_t mask : std::initializer_list<mode_t>{0000, 0022, 0777}) {
    SCOPED_TRACE(mask);
    const auto path = scratch / std::to_string(mask);
    const mode_t before = ::umask(mask);
    const auto error = FileManager::writeNewPrivateFile(path, bytesOf("key"));
    ::umask(before);
    EXPECT_FALSE(error);
    EXPECT_EQ(contentOf(path), "key");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
}

TEST_F(PrivateFile, IsNeverOneThatIsThere) {
  fill(scratch / "file", "old");
  fs::create_symlink("elsewhere", scratch / "link");
  fs::create_directory(scratch / "directory");
  for (const auto* name : {"file", "link", "directory"}) {
    SCOPED_TRACE(name);
    const auto error = FileManager::writeNewPrivateFile(scratch / name, bytesOf("key"));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, "open " + (scratch / name).string() + ": File exists");
  }
  EXPECT_EQ(contentOf(scratch / "file"), "old");
  EXPECT_FALSE(fs::exists(scratch / "elsewhere"));
}

TEST_F(PrivateFile, ThatCannotBeWrittenIsAnError) {
  EXPECT_TRUE(FileManager::writeNewPrivateFile(scratch / "missing" / "file", bytesOf("key")));
}

}  // namespace
}  // namespace ztp::test
