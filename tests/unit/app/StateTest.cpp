// The states: their numbers and their names.
#include <gtest/gtest.h>

#include <type_traits>

#include "app/ZanburyToolProxyState.h"

namespace ztp::test {
namespace {

using State = ZanburyToolProxyState;

static_assert(std::is_same_v<std::underlying_type_t<State>, std::int64_t>);

struct Case {
  State state;
  std::int64_t value;
  std::string_view name;
};

constexpr Case cases[] = {
    {State::None, 0, "None"},
    {State::Aborted, 1, "Aborted"},
    {State::ForwardingMessages, 2, "ForwardingMessages"},
    {State::Retry, 3, "Retry"},
    {State::WaitingForServerHello, 4, "WaitingForServerHello"},
    {State::WaitingForServerHandshake, 5, "WaitingForServerHandshake"},
    {State::SendingInputArchive, 6, "SendingInputArchive"},
    {State::WaitingForServerDidStartForwarding, 7, "WaitingForServerDidStartForwarding"},
    {State::WaitingForOutputArchive, 8, "WaitingForOutputArchive"},
};

TEST(State, HasItsNumber) {
  for (const auto& [state, value, name] : cases) {
    EXPECT_EQ(static_cast<std::int64_t>(state), value) << name;
  }
}

TEST(State, HasItsName) {
  for (const auto& [state, value, name] : cases) EXPECT_EQ(stringForState(state), name);
}

TEST(State, ANumberThatIsNoneReadsAsNone) {
  EXPECT_EQ(stringForState(static_cast<State>(9)), "None");
  EXPECT_EQ(stringForState(static_cast<State>(-1)), "None");
}

}  // namespace
}  // namespace ztp::test
