// The forms of the command line, and what is none of them.
#include "archiver/CommandLine.h"

#include <gtest/gtest.h>

#include <vector>

namespace ztp::test {
namespace {

using archiver::Command;
using archiver::ExtractCommand;
using archiver::HelpCommand;
using archiver::PackCommand;
using archiver::parseArguments;
using archiver::UnknownCommand;

using Words = std::vector<std::string_view>;

TEST(CommandLine, packs) {
  const Command command = parseArguments(Words{"-c", "-k", "--keepParent", "/t/In", "/t/In.zip"});
  ASSERT_TRUE(std::holds_alternative<PackCommand>(command));
  EXPECT_EQ(std::get<PackCommand>(command).directory, "/t/In");
  EXPECT_EQ(std::get<PackCommand>(command).zip, "/t/In.zip");
}

TEST(CommandLine, unpacks) {
  const Command command = parseArguments(Words{"-x", "-k", "/t/Out.zip", "/t"});
  ASSERT_TRUE(std::holds_alternative<ExtractCommand>(command));
  EXPECT_EQ(std::get<ExtractCommand>(command).zip, "/t/Out.zip");
  EXPECT_EQ(std::get<ExtractCommand>(command).destination, "/t");
}

TEST(CommandLine, takesOperandsThatLookLikeOptions) {
  const Command command = parseArguments(Words{"-x", "-k", "-x", "-k"});
  ASSERT_TRUE(std::holds_alternative<ExtractCommand>(command));
  EXPECT_EQ(std::get<ExtractCommand>(command).zip, "-x");
}

TEST(CommandLine, helps) {
  EXPECT_TRUE(std::holds_alternative<HelpCommand>(parseArguments(Words{"--help"})));
}

class UnknownArguments : public testing::TestWithParam<Words> {};

TEST_P(UnknownArguments, areNotUnderstood) {
  EXPECT_TRUE(std::holds_alternative<UnknownCommand>(parseArguments(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UnknownArguments,
    testing::Values(Words{}, Words{""}, Words{"-c"}, Words{"-c", "-k", "In", "In.zip"},
                    Words{"-c", "-k", "--keepParent", "In"},
                    Words{"-c", "-k", "--keepParent", "In", "In.zip", "more"},
                    Words{"-k", "-c", "--keepParent", "In", "In.zip"},
                    Words{"-c", "-k", "--keepParent", "", "In.zip"},
                    Words{"-c", "-k", "--keepParent", "In", ""}, Words{"-x", "-k", "Out.zip"},
                    Words{"-x", "-k", "Out.zip", ""}, Words{"-x", "Out.zip", "there"},
                    Words{"-x", "-k", "Out.zip", "there", "more"}, Words{"--help", "me"}));

}  // namespace
}  // namespace ztp::test
