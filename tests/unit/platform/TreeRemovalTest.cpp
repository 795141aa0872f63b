// Removals of trees whose owner may not write to them, by a user who is not root.
#include "platform/TreeRemoval.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/FileManager.h"
#include "platform/TemporaryDirectory.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Unremovable = TreeRemoval::Unremovable;

constexpr uid_t nobody = 65534;

class TreeRemovalTest : public testing::Test {
 protected:
  TreeRemovalTest() { ::chmod(scratch.path().c_str(), 0777); }
  ~TreeRemovalTest() override {
    TreeRemoval([] {}).remove(Directory::at(scratch.path().parent_path()),
                              scratch.path().filename());
  }

  // Runs a check in a child that is not root; true when it holds there.
  template <typename Check>
  static bool asNobody(const Check& check) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      const bool isAnother = ::geteuid() != 0 || (::setgid(nobody) == 0 && ::setuid(nobody) == 0);
      ::_exit(isAnother && check() ? 0 : 1);
    }
    int status = -1;
    return ::waitpid(pid, &status, 0) == pid && status == 0;
  }

  // A tree of which nothing can be removed before its modes change.
  static void makeClosedTree(const fs::path& top) {
    fs::create_directories(top / "read-only/searched/shut");
    fill(top / "read-only/searched/shut/file", "x");
    fill(top / "read-only/file", "x");
    ::chmod((top / "read-only/file").c_str(), 0);
    ::chmod((top / "read-only/searched/shut").c_str(), 0);
    ::chmod((top / "read-only/searched").c_str(), 0100);
    ::chmod((top / "read-only").c_str(), 0500);
    ::chmod(top.c_str(), 0500);
  }

  ScratchDirectory scratch;
};

TEST_F(TreeRemovalTest, DirectoriesThatAreNotWritableAreRemovedByTheirOwner) {
  EXPECT_TRUE(asNobody([this] {
    makeClosedTree(scratch / "tree");
    return !FileManager::removeItem(scratch / "tree") && !fs::exists(scratch / "tree");
  }));
}

TEST_F(TreeRemovalTest, ACopyOfATreeThatIsNotWritableCanBeRemoved) {
  EXPECT_TRUE(asNobody([this] {
    fs::create_directories(scratch / "from/sub");
    fill(scratch / "from/sub/file", "x");
    ::chmod((scratch / "from/sub").c_str(), 0500);
    return !FileManager::copyItem(scratch / "from", scratch / "to") &&
           !FileManager::removeItem(scratch / "to") && !fs::exists(scratch / "to");
  }));
}

TEST_F(TreeRemovalTest, AStaleDirectoryGoesWhateverItsModes) {
  EXPECT_TRUE(asNobody([this] {
    const auto stale = TemporaryDirectory::create(scratch.path(), "Work.")->path();
    makeClosedTree(stale / "tree");
    TemporaryDirectory::removeStale(scratch.path(), "Work.");
    return !fs::exists(stale);
  }));
}

// A directory of another user, in which files cannot be removed but may be written to.
TEST_F(TreeRemovalTest, WhatCannotBeRemovedIsEmptiedWhereThatIsAskedFor) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root has files of two users";
  fs::create_directory(scratch / "foreign");
  fs::create_directory(scratch / "own");
  ASSERT_EQ(::chown((scratch / "own").c_str(), nobody, nobody), 0);
  for (const char* const name : {"identity", "delivered", "link target"}) {
    fill(scratch / "foreign" / name, "private");
    ASSERT_EQ(::chown((scratch / "foreign" / name).c_str(), nobody, nobody), 0);
  }
  fs::create_hard_link(scratch / "foreign/delivered", scratch / "own/delivered");
  fs::create_symlink("link target", scratch / "foreign/link");
  EXPECT_TRUE(asNobody([this] { return FileManager::removeItem(scratch / "foreign/identity"); }));
  EXPECT_EQ(contentOf(scratch / "foreign/identity"), "private");
  EXPECT_TRUE(asNobody([this] {
    bool areErrors = true;
    for (const char* const name : {"identity", "delivered", "link"}) {
      areErrors &=
          FileManager::removeItem(scratch / "foreign" / name, Unremovable::empty).has_value();
    }
    return areErrors;
  }));
  EXPECT_EQ(contentOf(scratch / "foreign/identity"), "");
  EXPECT_EQ(contentOf(scratch / "own/delivered"), "private") << "it has another name";
  EXPECT_EQ(contentOf(scratch / "foreign/link target"), "private") << "links are not followed";
}

TEST_F(TreeRemovalTest, GoesOnPastWhatCannotBeRemovedAndNamesTheFirst) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root has files of two users";
  fs::create_directories(scratch / "tree/foreign/sub");
  fill(scratch / "tree/a", "x");
  fill(scratch / "tree/z", "x");
  ASSERT_EQ(::chown((scratch / "tree").c_str(), nobody, nobody), 0);
  EXPECT_TRUE(asNobody([this] {
    const auto error = FileManager::removeItem(scratch / "tree");
    return error && error->description ==
                        "remove " + (scratch / "tree/foreign/sub").string() + ": Permission denied";
  }));
  EXPECT_EQ(std::distance(fs::directory_iterator(scratch / "tree"), {}), 1);
}

TEST_F(TreeRemovalTest, RefusesPathsThatNameNoItem) {
  fs::create_directories(scratch / "tree/sub");
  for (const char* const path : {"tree/sub/..", "tree/.", "tree/sub/../"}) {
    EXPECT_TRUE(FileManager::removeItem(scratch / path)) << path;
  }
  EXPECT_TRUE(FileManager::removeItem("/"));
  EXPECT_TRUE(fs::exists(scratch / "tree/sub"));
}

TEST_F(TreeRemovalTest, EveryEntryCanInterruptIt) {
  struct Interruption {};
  fs::create_directories(scratch / "tree/a/b");
  fill(scratch / "tree/a/c", "x");
  int entries = 0;
  TreeRemoval counted([&] { ++entries; });
  counted.remove(Directory::at(scratch.path()), "tree");
  EXPECT_EQ(entries, 4);
  fs::create_directories(scratch / "tree/a/b");
  TreeRemoval interrupted([] { throw Interruption{}; });
  EXPECT_THROW(interrupted.remove(Directory::at(scratch.path()), "tree"), Interruption);
  EXPECT_TRUE(fs::exists(scratch / "tree/a/b"));
}

}  // namespace
}  // namespace ztp::test
