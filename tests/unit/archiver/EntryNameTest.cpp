// Names and link targets: what passes, and what is refused with which words.
#include "archiver/EntryName.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "archiver/ArchiveError.h"

namespace ztp::test {
namespace {

using archiver::ArchiveError;
using archiver::checkLinkTarget;
using archiver::comesBefore;
using archiver::depthOf;
using archiver::EntryName;
using archiver::parseEntryName;
using archiver::sharedLength;

std::string repeated(std::string_view part, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += part;
  return text;
}

// The text of the refusal, or "" when the name passes.
std::string refusalOf(std::string_view name) {
  try {
    static_cast<void>(parseEntryName(name));
  } catch (const ArchiveError& error) {
    return error.what();
  }
  return "";
}

std::string refusalOfTarget(std::string_view link, std::string_view target) {
  try {
    checkLinkTarget(parseEntryName(link), target);
  } catch (const ArchiveError& error) {
    return error.what();
  }
  return "";
}

struct GoodName {
  std::string name;
  std::string text;
  bool isDirectory;
};

class GoodNames : public testing::TestWithParam<GoodName> {};

TEST_P(GoodNames, areTakenApart) {
  const EntryName name = parseEntryName(GetParam().name);
  EXPECT_EQ(name.text, GetParam().text);
  EXPECT_EQ(name.isDirectory, GetParam().isDirectory);
}

INSTANTIATE_TEST_SUITE_P(
    EntryName, GoodNames,
    testing::Values(GoodName{"a", "a", false}, GoodName{"a/", "a", true},
                    GoodName{"OutputArchive/Logs/1.log", "OutputArchive/Logs/1.log", false},
                    GoodName{"./a/./b", "a/b", false}, GoodName{"a//b", "a/b", false},
                    GoodName{"./", "", true}, GoodName{".", "", false},
                    GoodName{"...", "...", false}, GoodName{"..a/b..", "..a/b..", false},
                    GoodName{"a b\nc", "a b\nc", false},
                    GoodName{"Gr\xc3\xb6\xc3\x9f"
                             "e",
                             "Gr\xc3\xb6\xc3\x9f"
                             "e",
                             false},
                    GoodName{"C:\\x", "C:\\x", false}, GoodName{"..\\..\\b", "..\\..\\b", false},
                    GoodName{"\x1b[2J\x01\xff", "\x1b[2J\x01\xff", false}));

struct BadName {
  std::string name;
  std::string refusal;
};

class BadNames : public testing::TestWithParam<BadName> {};

TEST_P(BadNames, areRefused) {
  EXPECT_EQ(refusalOf(GetParam().name), GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    EntryName, BadNames,
    testing::Values(BadName{"", "it has no name"}, BadName{"/", "its name is absolute"},
                    BadName{"/etc/passwd", "its name is absolute"},
                    BadName{"..", "its name leads out of the destination"},
                    BadName{"../a", "its name leads out of the destination"},
                    BadName{"a/..", "its name leads out of the destination"},
                    BadName{"a/../b", "its name leads out of the destination"},
                    BadName{"a/../../b", "its name leads out of the destination"},
                    BadName{"./../b", "its name leads out of the destination"},
                    BadName{std::string("a\0b", 3), "its name has a NUL"},
                    BadName{repeated("n", 256), "its name is too long"},
                    BadName{repeated("nnn/", 1024), "its name is too long"},
                    BadName{repeated("d/", 101), "its name is too deep"}));

TEST(EntryName, passesAtTheLimits) {
  EXPECT_EQ(refusalOf(repeated("n", 255)), "");
  EXPECT_EQ(refusalOf(repeated("d/", 100)), "");
  EXPECT_EQ(refusalOf(repeated("d/", 99) + "n"), "");
}

TEST(EntryName, fallsIntoParentAndLast) {
  EXPECT_EQ(parseEntryName("a/b/c").parent(), "a/b");
  EXPECT_EQ(parseEntryName("a/b/c/").last(), "c");
  EXPECT_EQ(parseEntryName("a").parent(), "");
  EXPECT_EQ(parseEntryName("a").last(), "a");
  EXPECT_EQ(parseEntryName("./").parent(), "");
}

TEST(EntryName, hasADepth) {
  EXPECT_EQ(depthOf(""), 0U);
  EXPECT_EQ(depthOf("a"), 1U);
  EXPECT_EQ(depthOf("a/b/c"), 3U);
}

struct Shared {
  std::string a;
  std::string b;
  std::size_t length;
};

class SharedNames : public testing::TestWithParam<Shared> {};

TEST_P(SharedNames, endAtAComponent) {
  EXPECT_EQ(sharedLength(GetParam().a, GetParam().b), GetParam().length);
  EXPECT_EQ(sharedLength(GetParam().b, GetParam().a), GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(EntryName, SharedNames,
                         testing::Values(Shared{"", "", 0}, Shared{"", "a", 0}, Shared{"a", "a", 1},
                                         Shared{"a", "b", 0}, Shared{"a", "ab", 0},
                                         Shared{"a", "a/b", 1}, Shared{"a/b", "a/bc", 1},
                                         Shared{"a/bx", "a/by", 1}, Shared{"a/b", "a/b/c/d", 3},
                                         Shared{"ab/c", "ax/c", 0}));

TEST(EntryName, inOrderIsFollowedByAllThatLiesInIt) {
  const std::vector<std::string> inOrder = {"",        "a",   "a/b", "a/b/c", "a/b\x01", "a\x01",
                                            "a\x01/b", "a-b", "a.b", "ab",    "b",       "\xff"};
  for (std::size_t i = 0; i < inOrder.size(); ++i) {
    for (std::size_t j = 0; j < inOrder.size(); ++j) {
      EXPECT_EQ(comesBefore(inOrder[i], inOrder[j]), i < j) << inOrder[i] << " " << inOrder[j];
    }
  }
}

struct Target {
  std::string link;
  std::string target;
};

class GoodTargets : public testing::TestWithParam<Target> {};

TEST_P(GoodTargets, pass) {
  EXPECT_EQ(refusalOfTarget(GetParam().link, GetParam().target), "");
}

INSTANTIATE_TEST_SUITE_P(EntryName, GoodTargets,
                         testing::Values(Target{"link", "file"}, Target{"link", "a/b"},
                                         Target{"top/link", "file"}, Target{"top/link", "./a//b"},
                                         Target{"top/a/link", "../file"},
                                         Target{"top/a/link", ".."},
                                         Target{"top/a/b/link", "../../c/file"},
                                         Target{"top/link", "..file"}));

class BadTargets : public testing::TestWithParam<Target> {};

TEST_P(BadTargets, areRefused) {
  EXPECT_EQ(refusalOfTarget(GetParam().link, GetParam().target), "it is a link that leads out");
}

INSTANTIATE_TEST_SUITE_P(EntryName, BadTargets,
                         testing::Values(Target{"link", ".."}, Target{"link", "../a"},
                                         Target{"top/link", ".."}, Target{"top/link", "../a"},
                                         Target{"top/link", "./../a"},
                                         Target{"top/a/link", "../../b"},
                                         Target{"top/a/link", "b/.."},
                                         Target{"top/a/link", "../b/../../../c"}));

TEST(EntryName, refusesTargetsThatAreNoNames) {
  EXPECT_EQ(refusalOfTarget("top/link", ""), "its link target is not a valid name");
  EXPECT_EQ(refusalOfTarget("top/link", std::string_view("a\0b", 3)),
            "its link target is not a valid name");
  EXPECT_EQ(refusalOfTarget("top/link", repeated("n", 4096)),
            "its link target is not a valid name");
  EXPECT_EQ(refusalOfTarget("top/link", "/etc/passwd"), "it is a link to an absolute name");
}

}  // namespace
}  // namespace ztp::test
