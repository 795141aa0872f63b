// When the lines of the record are written; what is in them is in tests/conversation.
#include "app/EventRecord.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

class EventRecordTest : public testing::Test {
 protected:
  // The events so far, in their order.
  [[nodiscard]] std::string events() const {
    const std::string text = contentOf(scratch / "events");
    const std::string key = "\"event\":\"";
    std::string result;
    for (auto at = text.find(key); at != std::string::npos; at = text.find(key, at)) {
      at += key.size();
      result += text.substr(at, text.find('"', at) - at) + " ";
    }
    return result;
  }

  ScratchDirectory scratch;
  std::optional<EventRecord> record{std::in_place, scratch / "events"};
};

TEST_F(EventRecordTest, HasItsLastLineWhenAllElseIsGone) {
  record->transition(ZanburyToolProxyState::WaitingForServerHello);
  record->ended(false, 0);
  EXPECT_EQ(events(), "start transition ");
  record.reset();
  EXPECT_EQ(events(), "start transition end ");
}

TEST_F(EventRecordTest, HasNoLastLineWithoutAnEnd) {
  record.reset();
  EXPECT_EQ(events(), "start ");
}

TEST_F(EventRecordTest, EndsOnceWhoeverHoldsIt) {
  record->ended(true, 0);
  {
    const EventRecord taken = *std::move(record);
    record.reset();
    EXPECT_EQ(events(), "start ");
  }
  EXPECT_EQ(events(), "start end ");
}

}  // namespace
}  // namespace ztp::test
