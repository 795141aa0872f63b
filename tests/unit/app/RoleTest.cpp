// The role that a session is made for.
#include <gtest/gtest.h>

#include "app/ProcessEnded.h"
#include "app/ZanburyToolProxy.h"
#include "platform/BlockingWait.h"

namespace ztp::test {
namespace {

TEST(Role, TheServerRoleEndsTheProcess) {
  testing::internal::CaptureStderr();
  try {
    static_cast<void>(ZanburyToolProxy::initServerProxy(true));
    ADD_FAILURE() << "there is a session";
  } catch (const ProcessEnded& end) {
    EXPECT_EQ(end.status, 1);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Not a server\n");
  BlockingWait::setDeadline(std::nullopt);  // what comes behind the end of a session may wait
}

}  // namespace
}  // namespace ztp::test
