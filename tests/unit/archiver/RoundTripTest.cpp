// What createZip packs, extractZip unpacks: content, modes, times, links, limits and failures.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "archiver/ArchiveError.h"
#include "archiver/ZipExtractor.h"
#include "archiver/ZipWriter.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using archiver::ArchiveError;
using archiver::createZip;
using archiver::ExtractionLimits;
using archiver::extractZip;

namespace fs = std::filesystem;

// Text of that size in which no stretch is like another.
std::string numbers(std::size_t size) {
  std::string result;
  for (unsigned number = 1; result.size() < size; ++number) {
    result += std::to_string(number * 2'654'435'761U) + "\n";
  }
  result.resize(size);
  return result;
}

class RoundTrip : public testing::Test {
 protected:
  RoundTrip() { ::umask(022); }

  void pack() const { createZip(source_.path() / "In", zip()); }
  void unpack(const ExtractionLimits& limits = {}) const {
    extractZip(zip(), target_.path(), limits);
  }
  [[nodiscard]] fs::path zip() const { return work_.path() / "In.zip"; }
  [[nodiscard]] std::string refusal(const ExtractionLimits& limits) const {
    try {
      unpack(limits);
    } catch (const ArchiveError& error) {
      return error.what();
    }
    return "";
  }

  static struct stat statusOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
  }

  static void setTime(const fs::path& path, time_t seconds) {
    const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
  }

  ScratchDirectory source_;
  ScratchDirectory work_;
  ScratchDirectory target_;
};

TEST_F(RoundTrip, keepsTheDirectoryItselfAndAllThatItHolds) {
  source_.write("In/statement.ofx", "<OFX>");
  source_.write("In/empty", "");
  source_.write("In/a b/\xc3\xbc.txt", "umlaut");
  fs::create_directory(source_.path() / "In/nothing here");
  pack();
  unpack();
  EXPECT_EQ(target_.names(), source_.names());
  EXPECT_EQ(target_.read("In/statement.ofx"), "<OFX>");
  EXPECT_EQ(target_.read("In/empty"), "");
  EXPECT_EQ(target_.read("In/a b/\xc3\xbc.txt"), "umlaut");
}

TEST_F(RoundTrip, keepsModesAndTimes) {
  source_.write("In/program", "x");
  source_.write("In/private", "");
  fs::permissions(source_.path() / "In/program", fs::perms(0755));
  fs::permissions(source_.path() / "In/private", fs::perms(0600));
  fs::permissions(source_.path() / "In", fs::perms(0700));
  setTime(source_.path() / "In/program", 1'700'000'001);
  setTime(source_.path() / "In/private", 86'400);
  setTime(source_.path() / "In", 1'600'000'001);
  pack();
  unpack();
  EXPECT_EQ(statusOf(target_.path() / "In/program").st_mode, S_IFREG | 0755U);
  EXPECT_EQ(statusOf(target_.path() / "In/private").st_mode, S_IFREG | 0600U);
  EXPECT_EQ(statusOf(target_.path() / "In").st_mode, S_IFDIR | 0700U);
  EXPECT_EQ(statusOf(target_.path() / "In/program").st_mtime, 1'700'000'001);
  EXPECT_EQ(statusOf(target_.path() / "In/private").st_mtime, 86'400);
  EXPECT_EQ(statusOf(target_.path() / "In").st_mtime, 1'600'000'001);
}

TEST_F(RoundTrip, keepsLinksAsLinks) {
  source_.write("In/a/file", "x");
  fs::create_symlink("../b/none", source_.path() / "In/a/dangling");
  fs::create_directory_symlink("a", source_.path() / "In/link");
  pack();
  unpack();
  EXPECT_EQ(fs::read_symlink(target_.path() / "In/a/dangling"), "../b/none");
  EXPECT_EQ(fs::read_symlink(target_.path() / "In/link"), "a");
}

TEST_F(RoundTrip, unpacksNoLinkThatLeadsOutNorAnythingBesideIt) {
  source_.write("In/a", "x");
  fs::create_symlink("/etc/passwd", source_.path() / "In/b");
  pack();
  EXPECT_EQ(refusal({}), "cannot unpack 'In/b': it is a link to an absolute name");
  EXPECT_EQ(target_.names(), std::vector<std::string>{});
}

TEST_F(RoundTrip, findsTheNameOfTheDirectoryHoweverItIsWritten) {
  source_.write("In/file", "x");
  for (const fs::path& path :
       {source_.path() / "In/", source_.path() / "In/.", source_.path() / "In/../In"}) {
    createZip(path, zip());
    const ScratchDirectory target;
    extractZip(zip(), target.path(), {});
    EXPECT_EQ(target.names(), (std::vector<std::string>{"In/", "In/file"})) << path;
  }
}

TEST_F(RoundTrip, replacesAnArchiveThatWasThere) {
  source_.write("In/file", "x");
  work_.write("In.zip", "something else");
  pack();
  unpack();
  EXPECT_EQ(target_.read("In/file"), "x");
  EXPECT_EQ(work_.names(), std::vector<std::string>{"In.zip"});
}

TEST_F(RoundTrip, leavesTheOldArchiveWhenPackingFails) {
  fs::create_directory(source_.path() / "In");
  ASSERT_EQ(::mkfifo((source_.path() / "In/fifo").c_str(), 0600), 0);
  work_.write("In.zip", "something else");
  EXPECT_THROW(pack(), ArchiveError);
  EXPECT_EQ(work_.read("In.zip"), "something else");
  EXPECT_EQ(work_.names(), std::vector<std::string>{"In.zip"});
}

TEST_F(RoundTrip, keepsNamesByteForByte) {
  const std::vector<std::string> names = {
      "In/PK\x05\x06",   "In/\x01",         "In/\x1b[2J\n",    "In/\x94",     "In/\xc3\xb6",
      "In/\xc3\xb6\x01", "In/\xe2\x98\xba", "In/\xed\xa0\x80", "In/\xff\xfe", "In/back\\slash"};
  for (const std::string& name : names) source_.write(name, "content of " + name);
  pack();
  unpack();
  EXPECT_EQ(target_.names(), source_.names());
  EXPECT_EQ(target_.names().size(), names.size() + 1);
  for (const std::string& name : names) EXPECT_EQ(target_.read(name), "content of " + name);
}

TEST_F(RoundTrip, packsNoFileAndNothingThatIsMissing) {
  source_.write("file", "x");
  EXPECT_THROW(createZip(source_.path() / "file", zip()), ArchiveError);
  EXPECT_THROW(createZip(source_.path() / "missing", zip()), ArchiveError);
  EXPECT_THROW(createZip(source_.path(), work_.path() / "missing/In.zip"), ArchiveError);
}

TEST_F(RoundTrip, unpacksFilesOfManyBuffersOneAfterTheOther) {
  for (const std::size_t size : {262'143U, 262'144U, 262'145U, 524'288U, 5'000'003U}) {
    source_.write("In/" + std::to_string(size), numbers(size));
  }
  pack();
  unpack();
  for (const std::size_t size : {262'143U, 262'144U, 262'145U, 524'288U, 5'000'003U}) {
    EXPECT_TRUE(target_.read("In/" + std::to_string(size)) == numbers(size)) << size;
  }
}

TEST_F(RoundTrip, whatBreaksBehindManyBuffersTakesTheFileBack) {
  source_.write("In/file", numbers(3'000'000));
  pack();
  std::string bytes = work_.read("In.zip");
  for (const std::size_t place : {bytes.size() / 2, bytes.size() * 9 / 10}) {
    std::string broken = bytes;
    broken[place] = static_cast<char>(~broken[place]);
    const auto* data = reinterpret_cast<const std::uint8_t*>(broken.data());
    EXPECT_THROW(extractZip(std::span(data, broken.size()), target_.path(), {}), ArchiveError);
    EXPECT_EQ(target_.names(), std::vector<std::string>{}) << place;
  }
}

TEST_F(RoundTrip, refusesWhatIsOverALimit) {
  source_.write("In/file", "1234567890");
  pack();
  ExtractionLimits entries;
  entries.entries = 1;
  EXPECT_EQ(refusal(entries), "the archive has too many entries");
  ExtractionLimits expanded;
  expanded.expandedBytes = 9;
  EXPECT_EQ(refusal(expanded), "cannot unpack 'In/file': the archive expands to too many bytes");
  ExtractionLimits directory;
  directory.directoryBytes = 100;
  EXPECT_EQ(refusal(directory), "the archive's directory is too large");
  EXPECT_EQ(target_.names(), std::vector<std::string>{});
}

TEST_F(RoundTrip, unpacksWhatIsAtALimit) {
  source_.write("In/file", "1234567890");
  pack();
  EXPECT_EQ(refusal({.entries = 2, .expandedBytes = 10}), "");
}

TEST_F(RoundTrip, unpacksFromMemory) {
  source_.write("In/file", "x");
  pack();
  const std::string bytes = work_.read("In.zip");
  extractZip(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()),
             target_.path(), {});
  EXPECT_EQ(target_.read("In/file"), "x");
}

TEST_F(RoundTrip, refusesEveryArchiveThatIsCutShort) {
  source_.write("In/file", "1234567890");
  pack();
  const std::string bytes = work_.read("In.zip");
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_THROW(extractZip(std::span(data, size), target_.path(), {}), ArchiveError) << size;
  }
}

}  // namespace
}  // namespace ztp::test
