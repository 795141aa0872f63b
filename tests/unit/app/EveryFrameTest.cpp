// Every byte as the type of a message in every state of a session, and every limit of a length.
#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/inprocess/InProcessSession.h"
#include "tests/inprocess/Surroundings.h"

namespace ztp::test {
namespace {

// What the server sends to lead a session that waits for the hello into one of its states.
enum class Station { hello, handshake, sending, start, forwarding, result };

void lead(InProcessSession& session, Station station) {
  if (station >= Station::handshake) session.serverSends("h0\n");
  if (station >= Station::sending) session.serverSends(serverHandshake());
  if (station >= Station::start) session.serverSends("I0\n");
  if (station >= Station::forwarding) session.serverSends("[0\n");
  if (station >= Station::result) session.serverSends("]0\n");
}

constexpr std::string_view goesOn = "(goes on)";
constexpr std::string_view noFrame = "Invalid message received\n";
constexpr std::string_view noReason = "\n";

// How a session has taken what it was sent: the log of its end with status 1, or that it goes on.
std::string outcome(const InProcessSession& session) {
  if (!session.status()) return session.log() + std::string(goesOn);
  EXPECT_EQ(session.status(), 1);
  EXPECT_EQ(Surroundings::instance().leftovers(), "");
  return session.log();
}

struct Row {
  Station station;
  std::map<char, std::string_view> taken;  // the types that are no reason to abort as unexpected
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << "station " << static_cast<int>(row.station);
}

// None of these messages has a body.
const Row rows[] = {
    {Station::hello, {{'!', noReason}, {'h', goesOn}, {'s', "(null)\nInvalid salt\n"}}},
    {Station::handshake,
     {{'!', noReason}, {'s', "AES decryption: wrong final block length\nInvalid salt\n"}}},
    {Station::sending, {{'!', noReason}, {'I', goesOn}}},
    {Station::start, {{'!', noReason}, {'[', goesOn}}},
    {Station::forwarding, {{'!', noReason}, {'f', goesOn}, {']', goesOn}}},
    {Station::result,
     {{'!', noReason},
      {'o', "open : No such file or directory\nCould not decrypt OutputArchive.zip\n"}}},
};

const std::map<char, std::string_view> unexpected = {
    {'.', "ERROR: Did not handle message of type: None\n"},
    {'h', "ERROR: Did not handle message of type: ServerHello\n"},
    {'c', "ERROR: Did not handle message of type: ClientHandshake\n"},
    {'s', "ERROR: Did not handle message of type: ServerHandshake\n"},
    {'i', "ERROR: Did not handle message of type: InputArchive\n"},
    {'I', "ERROR: Did not handle message of type: InputArchiveAcknowledgement\n"},
    {'[', "ERROR: Did not handle message of type: ServerWillStartForwarding\n"},
    {'f', "ERROR: Did not handle message of type: Forward\n"},
    {']', "ERROR: Did not handle message of type: ServerDidStopForwarding\n"},
    {'o', "ERROR: Did not handle message of type: OutputArchive\n"},
    {'O', "ERROR: Did not handle message of type: OutputArchiveAcknowledgement\n"},
};

std::string_view expected(const Row& row, char type) {
  if (const auto found = row.taken.find(type); found != row.taken.end()) return found->second;
  if (const auto found = unexpected.find(type); found != unexpected.end()) return found->second;
  return noFrame;
}

class EveryByte : public testing::TestWithParam<Row> {};

TEST_P(EveryByte, IsTakenRefusedOrNoTypeAtAll) {
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    InProcessSession session;
    lead(session, GetParam().station);
    ASSERT_EQ(session.status(), std::nullopt);
    const char type = static_cast<char>(byte);
    session.serverSends(std::string{type, '0', '\n'});
    EXPECT_EQ(outcome(session), expected(GetParam(), type));
  }
}

INSTANTIATE_TEST_SUITE_P(Session, EveryByte, testing::ValuesIn(rows));

constexpr std::string_view tooBig = "Message is too big\n";

struct Header {
  std::string_view text;
  std::string_view outcome;
};

// Headers without their body: what a length means before the first byte of what it announces.
const Header headers[] = {
    {".99999\n", goesOn},        {".100000\n", goesOn},     {".100001\n", tooBig},
    {"!99999\n", goesOn},        {"!100000\n", goesOn},     {"!100001\n", tooBig},
    {"h99999\n", goesOn},        {"h100000\n", goesOn},     {"h100001\n", tooBig},
    {"c99999\n", goesOn},        {"c100000\n", goesOn},     {"c100001\n", tooBig},
    {"s99999\n", goesOn},        {"s100000\n", goesOn},     {"s100001\n", tooBig},
    {"f9999999\n", goesOn},      {"f10000000\n", goesOn},   {"f10000001\n", tooBig},
    {"f9999999999\n", tooBig},   {"h9999999999\n", tooBig}, {"h4294967296\n", tooBig},
    {"h0000100000\n", goesOn},   {"h0000100001\n", tooBig}, {"h00000100000\n", noFrame},
    {"i9999999999\n", goesOn},   {"I9999999999\n", goesOn}, {"[9999999999\n", goesOn},
    {"]9999999999\n", goesOn},   {"o9999999999\n", goesOn}, {"O9999999999\n", goesOn},
    {"o10000000000\n", noFrame}, {"f99999999999", noFrame}, {"f9999999999", goesOn},
};

TEST_P(EveryByte, OfALengthCountsTowardsTheSameLimitInEveryState) {
  for (const auto& header : headers) {
    SCOPED_TRACE(header.text);
    InProcessSession session;
    lead(session, GetParam().station);
    session.serverSends(header.text);
    EXPECT_EQ(outcome(session), header.outcome);
  }
}

TEST(EveryLimit, IsThatOfAWholeBody) {
  InProcessSession session;
  lead(session, Station::forwarding);
  session.serverSends(frame('f', encrypted(Data(9'999'999, 'x'))));
  EXPECT_EQ(outcome(session), goesOn);
  EXPECT_EQ(session.toHost().substr(session.toHost().size() - 9'999'999),
            std::string(9'999'999, 'x'));
}

}  // namespace
}  // namespace ztp::test
