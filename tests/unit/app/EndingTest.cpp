// The registry of endings: its codes, and the reasons that lead to them.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "app/Ending.h"

namespace ztp::test {
namespace {

TEST(Ending, HasACodeOfItsOwnInOneForm) {
  std::set<std::string_view> codes;
  for (const auto& ending : allEndings()) {
    EXPECT_TRUE(codes.insert(ending.code).second) << ending.code;
    EXPECT_EQ(ending.code.find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), ending.code.npos);
    EXPECT_TRUE(ending.meaning.ends_with('.')) << ending.code;
  }
  for (const auto code : {ending::converted, ending::toolFailed, ending::resultUnreadable,
                          ending::connectionLost, ending::serverError, ending::systemError}) {
    EXPECT_TRUE(codes.contains(code)) << code;
  }
}

struct Case {
  std::optional<std::string_view> reason;
  std::string_view code;
};

TEST(Ending, IsFoundByItsReason) {
  const Case cases[] = {
      {"User canceled", "canceled"},
      {"Terminated by signal SIGHUP", "signal"},
      {"ERROR: Did not handle message of type: None", "message-unexpected"},
      {"Could not write message", "message-not-sent"},
      {"Could not write message asynchronously", "upload-not-sent"},
      {"User canceled, perhaps", "system-error"},
      {"Terminated", "system-error"},
      {"", "system-error"},
      {std::nullopt, "system-error"},
  };
  for (const auto& [reason, code] : cases) EXPECT_EQ(codeForReason(reason), code);
}

}  // namespace
}  // namespace ztp::test
