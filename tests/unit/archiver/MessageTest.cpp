// What an error line shows of a name that a stranger chose.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "archiver/ArchiveError.h"

namespace ztp::test {
namespace {

using archiver::quotedName;
using archiver::systemError;

TEST(Message, showsPlainNamesAsTheyAre) {
  EXPECT_EQ(quotedName("a b/c.ofx"), "'a b/c.ofx'");
}

TEST(Message, escapesWhatATerminalWouldObey) {
  EXPECT_EQ(quotedName("a\x1b[2J\n"), "'a\\x1b[2J\\x0a'");
  EXPECT_EQ(quotedName("it's \\ \xc3\xb6"), "'it\\x27s \\x5c \\xc3\\xb6'");
}

TEST(Message, showsAtMost120BytesOfAName) {
  EXPECT_EQ(quotedName(std::string(120, 'n')), "'" + std::string(120, 'n') + "'");
  EXPECT_EQ(quotedName(std::string(121, 'n')), "'" + std::string(120, 'n') + "...'");
}

TEST(Message, endsInTheSystemsReason) {
  EXPECT_STREQ(systemError("cannot open 'x'", EACCES).what(), "cannot open 'x': Permission denied");
}

}  // namespace
}  // namespace ztp::test
