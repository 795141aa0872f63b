// The upload's archive, made by the archiver of the build tree.
#include "app/InputArchive.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "app/SessionFailure.h"
#include "tests/support/ScratchDirectory.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Utilities = ZanburyToolProxyUtilities;

class InputArchiveTest : public testing::Test {
 protected:
  InputArchiveTest() { fs::create_directory(work); }

  // The reason of the failure, and behind it the error; "made" when there is none.
  std::string make(const std::optional<std::string>& source, std::int64_t maximum = 0) {
    try {
      archive.createInputArchive(source, AESKeyBytes{key}, vector, maximum);
      return "made";
    } catch (const SessionFailure& failure) {
      return failure.reason.value() + (failure.error ? ": " + failure.error->description : "");
    }
  }
  // What the archive holds, unpacked.
  fs::path unpacked() {
    EXPECT_TRUE(Utilities::decryptFile(archive.inputArchivePath(), scratch / "plain.zip",
                                       AESKeyBytes{key}, vector));
    EXPECT_TRUE(Utilities::extractContentsOfZip(scratch / "plain.zip", scratch.path()));
    return scratch / "InputArchive";
  }

  ScratchDirectory scratch;
  fs::path work = scratch / "work";
  const Data key = Data(32, std::uint8_t{1});
  const Data vector = Data(16, std::uint8_t{2});
  InputArchive archive{work};
};

TEST_F(InputArchiveTest, HoldsTheSourceUnderItsOwnName) {
  EXPECT_EQ(make(scratch.write("my statement.ofx", "content")), "made");
  EXPECT_EQ(archive.inputArchivePath(), work / "InputArchive.zip-encrypted");
  EXPECT_EQ(contentOf(unpacked() / "my statement.ofx"), "content");
}

TEST_F(InputArchiveTest, HoldsAFolderWhateverSlashesFollowItsName) {
  scratch.write("folder/inner.ofx", "content");
  EXPECT_EQ(make((scratch / "folder").string() + "//"), "made");
  EXPECT_EQ(contentOf(unpacked() / "folder/inner.ofx"), "content");
}

TEST_F(InputArchiveTest, LeavesNoPlainArchiveBehindAndRemovesTheRestWhenTold) {
  ASSERT_EQ(make(scratch.write("statement.ofx", "content")), "made");
  EXPECT_FALSE(fs::exists(work / "InputArchive.zip"));
  archive.removeFiles();
  EXPECT_TRUE(fs::is_empty(work));
  archive.removeFiles();
}

TEST_F(InputArchiveTest, SaysWhichStepFailed) {
  const std::string copying = "Could not copy the source file to the InputArchive directory: ";
  EXPECT_EQ(make(std::nullopt), copying + "EXPORT_FILE_PATH is not set");
  EXPECT_EQ(make(""), copying + "EXPORT_FILE_PATH is not set");
  const std::string missing = make(scratch / "missing");
  EXPECT_EQ(missing.substr(0, copying.size()), copying);
  EXPECT_NE(missing.find("No such file or directory"), std::string::npos);
}

TEST_F(InputArchiveTest, SaysWhyItHasNoDirectory) {
  fs::remove(work);
  fill(work, "a file");
  const std::string reason = "Could not create InputArchive directory: ";
  EXPECT_EQ(make(scratch.write("statement.ofx", "content")).substr(0, reason.size()), reason);
}

TEST_F(InputArchiveTest, MayBeAsLargeAsTheServerTakesAndNoByteLarger) {
  const std::string source = scratch.write("statement.ofx", "content");
  ASSERT_EQ(make(source), "made");
  const auto size = static_cast<std::int64_t>(fs::file_size(archive.inputArchivePath()));
  for (const std::int64_t maximum : {std::int64_t{0}, std::int64_t{-1}, size, size + 1}) {
    archive.removeFiles();
    EXPECT_EQ(make(source, maximum), "made") << maximum;
  }
  archive.removeFiles();
  testing::internal::CaptureStderr();
  EXPECT_EQ(make(source, size - 1), "Input archive is too big");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: The input archive has " + std::to_string(size) + " bytes, the server accepts " +
                std::to_string(size - 1) + "\n");
}

}  // namespace
}  // namespace ztp::test
