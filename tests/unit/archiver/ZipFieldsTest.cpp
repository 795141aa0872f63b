// The extended timestamp, byte by byte.
#include "archiver/ZipFields.h"

#include <gtest/gtest.h>

#include <vector>

namespace ztp::test {
namespace {

using archiver::modificationTime;
using archiver::UnixTimeField;
using archiver::unixTimeField;

TEST(ZipFields, writesTheModificationTimeLittleEndian) {
  EXPECT_EQ(unixTimeField(0x65E12345), (UnixTimeField{1, 0x45, 0x23, 0xE1, 0x65}));
}

TEST(ZipFields, readsWhatItWrites) {
  EXPECT_EQ(modificationTime(unixTimeField(0x7FFFFFFF)), 0x7FFFFFFF);
}

TEST(ZipFields, readsTimesBefore1970) {
  EXPECT_EQ(modificationTime(std::vector<std::uint8_t>{1, 0xFF, 0xFF, 0xFF, 0xFF}), -1);
}

TEST(ZipFields, ignoresTheTimesBehind) {
  EXPECT_EQ(modificationTime(std::vector<std::uint8_t>{7, 2, 0, 0, 0, 9, 9, 9, 9}), 2);
}

TEST(ZipFields, findsNoTimeInAShortOrEmptyField) {
  EXPECT_EQ(modificationTime(std::vector<std::uint8_t>{}), std::nullopt);
  EXPECT_EQ(modificationTime(std::vector<std::uint8_t>{1, 2, 3, 4}), std::nullopt);
  EXPECT_EQ(modificationTime(std::vector<std::uint8_t>{2, 1, 2, 3, 4}), std::nullopt);
}

}  // namespace
}  // namespace ztp::test
