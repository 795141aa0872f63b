// MD5 digests and hexadecimal digits.
#include <gtest/gtest.h>

#include "tests/unit/util/Bytes.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

std::string md5(std::string_view text) {
  return ZanburyToolProxyUtilities::MD5DigestForData(bytesOf(text));
}

// RFC 1321, appendix A.5.
TEST(Md5, GivesThePublishedVectors) {
  EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(md5("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(HexString, IsTwoLowercaseDigitsAByte) {
  const Data bytes{0x00, 0xab, 0xff, 0x10, 0x09};
  EXPECT_EQ(ZanburyToolProxyUtilities::hexStringWithBytes(bytes.data(), 2), "00ab");
  EXPECT_EQ(ZanburyToolProxyUtilities::hexStringWithBytes(bytes.data(), 5), "00abff1009");
}

TEST(HexString, OfNoBytesIsEmpty) {
  EXPECT_EQ(ZanburyToolProxyUtilities::hexStringWithBytes(nullptr, 0), "");
}

}  // namespace
}  // namespace ztp::test
