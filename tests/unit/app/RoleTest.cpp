// The role that a session is made for.
#include <gtest/gtest.h>

#include "app/ZanburyToolProxy.h"

namespace ztp::test {
namespace {

TEST(Role, ASessionThatHasNotStartedIsAClientAndHarmless) {
  const auto session = ZanburyToolProxy::initServerProxy(false);
  EXPECT_NE(session, nullptr);
}

TEST(RoleDeathTest, TheServerRoleEndsTheProcess) {
  EXPECT_EXIT(ZanburyToolProxy::initServerProxy(true), testing::ExitedWithCode(1),
              "^Not a server\n$");
}

}  // namespace
}  // namespace ztp::test
