// Programs run to their end, and the archiver's arguments.
#include <gtest/gtest.h>

#include <cstdlib>

#include <sys/wait.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchDirectory.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Utilities = ZanburyToolProxyUtilities;

bool runShell(const std::string& script) {
  return Utilities::runTaskWithLaunchPath("/bin/sh", {{"-c", script}});
}

TEST(RunTask, OfAProgramThatDoesNotExistIsFalseWithoutALine) {
  CapturedLog log;
  EXPECT_FALSE(Utilities::runTaskWithLaunchPath("/nonexistent/program", {{"argument"}}));
  EXPECT_FALSE(Utilities::runTaskWithLaunchPath("/", std::nullopt));
  EXPECT_EQ(log.text(), "");
}

TEST(RunTask, OfAProgramThatFailsIsTrueWithoutALine) {
  CapturedLog log;
  EXPECT_TRUE(runShell("exit 1"));
  EXPECT_TRUE(runShell("kill -KILL $$"));
  EXPECT_EQ(log.text(), "");
}

TEST(RunTask, WithoutArgumentsRunsTheProgramAlone) {
  EXPECT_TRUE(Utilities::runTaskWithLaunchPath("/bin/true", std::nullopt));
}

TEST(RunTask, ReturnsWhenTheProgramHasEndedAndIsReaped) {
  const ScratchDirectory scratch;
  const auto file = scratch.path() / "made at the end";
  ASSERT_TRUE(runShell("sleep 0.05; touch '" + file.string() + "'"));
  EXPECT_TRUE(std::filesystem::exists(file));
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(RunTask, PassesItsArgumentsAsTheyAre) {
  CapturedLog log;
  ASSERT_TRUE(Utilities::runTaskWithLaunchPath(
      "/bin/sh", {{"-c", R"(printf '[%s]' "$@" >&2)", "sh", "a b", "", "*", "$HOME", "\n"}}));
  EXPECT_EQ(log.text(), "[a b][][*][$HOME][\n]");
}

TEST(RunTask, GivesTheNullDeviceForInputAndOutputAndOurStandardError) {
  CapturedLog log;
  ASSERT_TRUE(
      runShell("in=$(readlink /proc/$$/fd/0) out=$(readlink /proc/$$/fd/1); cat; echo lost;"
               "echo $in $out >&2"));
  EXPECT_EQ(log.text(), "/dev/null /dev/null\n");
}

TEST(RunTask, HandsDownTheEnvironmentWithoutTheHostsVariables) {
  ::setenv("EXPORT_SERVER_IDENTITY", "a private key", 1);
  ::setenv("EXPORT_", "private too", 1);
  ::setenv("EXPORTED", "not private", 1);
  CapturedLog log;
  ASSERT_TRUE(runShell("env >&2"));
  std::string text("\n");
  text += log.text();
  EXPECT_EQ(text.find("\nEXPORT_"), std::string::npos);
  EXPECT_NE(text.find("\nEXPORTED=not private\n"), std::string::npos);
  EXPECT_NE(text.find("\nPATH="), std::string::npos);
  for (const char* name : {"EXPORT_SERVER_IDENTITY", "EXPORT_", "EXPORTED"}) ::unsetenv(name);
}

// The archiver beside this program tells its arguments on standard error and exits with status 1.
TEST(Zip, IsCreatedWithTheDirectoryAsItsTopLevel) {
  CapturedLog log;
  EXPECT_TRUE(Utilities::createZip("/t/In.zip", "/t/In"));
  EXPECT_EQ(log.text(), "-c\n-k\n--keepParent\n/t/In\n/t/In.zip\n");
}

TEST(Zip, IsExtractedToTheDestination) {
  CapturedLog log;
  EXPECT_TRUE(Utilities::extractContentsOfZip("/t/Out.zip", "/t/Out"));
  EXPECT_EQ(log.text(), "-x\n-k\n/t/Out.zip\n/t/Out\n");
}

}  // namespace
}  // namespace ztp::test
