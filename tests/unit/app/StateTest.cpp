// The states: their numbers and their names.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
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

TEST(State, CanBeAbortedAndNeverComesBackToItsStart) {
  for (const auto& [state, value, name] : cases) {
    EXPECT_TRUE(canFollow(state, State::Aborted)) << name;
    EXPECT_FALSE(canFollow(state, State::None)) << name;
  }
}

struct Arrow {
  State before;
  State next;
};

constexpr Arrow arrows[] = {
    {State::None, State::WaitingForServerHello},
    {State::WaitingForServerHello, State::Retry},
    {State::WaitingForServerHello, State::WaitingForServerHello},
    {State::WaitingForServerHello, State::WaitingForServerHandshake},
    {State::WaitingForServerHello, State::SendingInputArchive},
    {State::Retry, State::WaitingForServerHello},
    {State::WaitingForServerHandshake, State::WaitingForServerHello},
    {State::WaitingForServerHandshake, State::SendingInputArchive},
    {State::SendingInputArchive, State::WaitingForServerDidStartForwarding},
    {State::WaitingForServerDidStartForwarding, State::ForwardingMessages},
    {State::ForwardingMessages, State::WaitingForOutputArchive},
};

bool isArrow(State before, State next) {
  return std::any_of(std::begin(arrows), std::end(arrows), [&](const Arrow& arrow) {
    return arrow.before == before && arrow.next == next;
  });
}

TEST(State, IsFollowedByTheseAndNoOthers) {
  for (const auto& before : cases) {
    for (const auto& next : cases) {
      if (next.state == State::Aborted) continue;
      EXPECT_EQ(canFollow(before.state, next.state), isArrow(before.state, next.state))
          << before.name << " to " << next.name;
    }
  }
}

}  // namespace
}  // namespace ztp::test
