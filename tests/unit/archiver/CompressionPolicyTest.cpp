// Which blocks are deflated thoroughly, as far as the blocks before them tell.
#include "archiver/CompressionPolicy.h"

#include <gtest/gtest.h>

#include <string>

namespace ztp::test {
namespace {

using archiver::CompressionPolicy;
using archiver::Effort;

// One letter a block, T or Q, for blocks that come to these sizes; `lag` are always under way.
std::string efforts(std::size_t blocks, std::size_t thorough, std::size_t quick, std::size_t lag) {
  CompressionPolicy choice;
  std::string result;
  for (std::size_t block = 0; block < blocks; ++block) {
    result += choice.next() == Effort::thorough ? 'T' : 'Q';
    if (block + 1 >= lag) choice.measured(result[block + 1 - lag] == 'T' ? thorough : quick);
  }
  return result;
}

TEST(CompressionPolicy, aSmallFileIsThoroughButForTheTrial) {
  EXPECT_EQ(efforts(8, 100, 100, 1), "TQTTTTTT");
}

TEST(CompressionPolicy, aSmallGainIsNotWorthTheTime) {
  EXPECT_EQ(efforts(130, 100, 108, 1),
            "TQTTTTTT" + std::string(56, 'Q') + "T" + std::string(63, 'Q') + "TQ");
}

TEST(CompressionPolicy, aLargeGainIs) {
  EXPECT_EQ(efforts(130, 100, 110, 1),
            "TQ" + std::string(62, 'T') + "TQ" + std::string(62, 'T') + "TQ");
}

TEST(CompressionPolicy, dependsNotOnHowManyBlocksAreUnderWay) {
  const std::string expected = efforts(200, 100, 110, 1);
  for (std::size_t lag = 2; lag <= CompressionPolicy::maximumInFlight; ++lag) {
    EXPECT_EQ(efforts(200, 100, 110, lag), expected) << lag;
  }
}

TEST(CompressionPolicy, followsAFileThatChanges) {
  CompressionPolicy choice;
  std::string result;
  for (std::size_t block = 0; block < 128; ++block) {
    const bool isThorough = choice.next() == Effort::thorough;
    result += isThorough ? 'T' : 'Q';
    choice.measured(block >= 64 && isThorough ? 50 : 100);
  }
  EXPECT_EQ(result.substr(8, 56), std::string(56, 'Q'));
  EXPECT_EQ(result.substr(72), std::string(56, 'T'));
}

}  // namespace
}  // namespace ztp::test
