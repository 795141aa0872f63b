// The role that a session is made for.
#include <gtest/gtest.h>

#include "app/ZanburyToolProxy.h"

namespace ztp::test {
namespace {

TEST(RoleDeathTest, TheServerRoleEndsTheProcess) {
  EXPECT_EXIT(ZanburyToolProxy::initServerProxy(true), testing::ExitedWithCode(1),
              "^Not a server\n$");
}

}  // namespace
}  // namespace ztp::test
