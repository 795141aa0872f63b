// The records of a new archive: what marks a name as UTF-8, and where Zip64 begins.
#include "archiver/EntryHeaders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <string_view>
#include <vector>

#include "archiver/ZipFields.h"

namespace ztp::test {
namespace {

using archiver::centralHeader;
using archiver::centralSize;
using archiver::Content;
using archiver::end64Magic;
using archiver::end64Size;
using archiver::endRecords;
using archiver::endSize;
using archiver::flagUtf8;
using archiver::full32;
using archiver::hasMagic;
using archiver::isUtf8;
using archiver::localHeader;
using archiver::localSize;
using archiver::locatorSize;
using archiver::numberAt;
using archiver::TreeItem;
using archiver::zip64Id;

TreeItem fileNamed(std::string name) {
  TreeItem item;
  item.name = std::move(name);
  item.identity.mode = S_IFREG | 0644;
  return item;
}

TEST(EntryHeaders, knowUtf8) {
  for (const std::string_view text : {"", "a\x01", "\xc3\xb6", "\xe2\x98\xba", "\xed\x9f\xbf",
                                      "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "\xee\x80\x80"}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
}

TEST(EntryHeaders, knowWhatIsNotUtf8) {
  for (const std::string_view text :
       {"\xff", "\x80", "\xc0\x80", "\xc1\xbf", "\xc3", "\xc3(", "\xe0\x9f\xbf", "\xe2\x98",
        "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80"}) {
    EXPECT_FALSE(isUtf8(text)) << text;
  }
}

TEST(EntryHeaders, markNamesInUtf8AndNoOthers) {
  const auto flags = [](std::string name) {
    return numberAt(localHeader(fileNamed(std::move(name)), {}), 6, 2);
  };
  EXPECT_EQ(flags("plain"), 0U);
  EXPECT_EQ(flags("\xc3\xb6\x01"), flagUtf8);
  EXPECT_EQ(flags("\x94"), 0U);
}

TEST(EntryHeaders, holdLargeNumbersInZip64Fields) {
  Content content;
  content.localOffset = 0x1'0000'0000;
  content.size = 0x2'0000'0000;
  content.compressedSize = 0xFFFF'FFFE;
  const std::vector<std::uint8_t> header = centralHeader(fileNamed("a"), content);
  EXPECT_EQ(numberAt(header, 20, 4), 0xFFFF'FFFEU);
  EXPECT_EQ(numberAt(header, 24, 4), full32);
  EXPECT_EQ(numberAt(header, 42, 4), full32);
  const std::size_t extra = centralSize + 1;
  EXPECT_EQ(numberAt(header, extra, 2), zip64Id);
  EXPECT_EQ(numberAt(header, extra + 2, 2), 16U);
  EXPECT_EQ(numberAt(header, extra + 4, 8), content.size);
  EXPECT_EQ(numberAt(header, extra + 12, 8), content.localOffset);
}

TEST(EntryHeaders, keepRoomForSizesThatAreNotKnownYet) {
  Content content;
  content.size = 0xFFFF'FFFE;
  content.isDeflated = true;
  const std::size_t before = localHeader(fileNamed("a"), content).size();
  content.compressedSize = 0x1'0000'0010;
  const std::vector<std::uint8_t> header = localHeader(fileNamed("a"), content);
  EXPECT_EQ(header.size(), before);
  EXPECT_EQ(numberAt(header, localSize + 1 + 12, 8), content.compressedSize);
}

TEST(EntryHeaders, endInZip64RecordsWhereANumberNeedsThem) {
  EXPECT_EQ(endRecords(65'534, 100, 200).size(), endSize);
  EXPECT_EQ(endRecords(65'535, 100, 200).size(), end64Size + locatorSize + endSize);
  EXPECT_EQ(endRecords(1, 0xFFFF'FFFE, 200).size(), endSize);
  const std::vector<std::uint8_t> end = endRecords(1, 0x1'0000'0000, 200);
  EXPECT_TRUE(hasMagic(end, 0, end64Magic));
  EXPECT_EQ(numberAt(end, 48, 8), 0x1'0000'0000U);
  EXPECT_EQ(numberAt(end, end64Size + 8, 8), 0x1'0000'0000U + 200);
}

}  // namespace
}  // namespace ztp::test
