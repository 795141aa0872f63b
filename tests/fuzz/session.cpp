// Fuzzes the session as a whole: sequences of messages, of the host's bytes and of time into the
// real dispatch and all that it leads to, by a server that knows the session key.
//
// An input is a list of steps, each one letter, two bytes of length (big-endian) and that many
// bytes. What a letter means stands in `play`. Whatever happens, the session ends as the program
// may end, or goes on; it leaves nothing behind, and starts ssh with nothing that is no
// destination.
#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fuzz/Fuzzing.h"
#include "tests/inprocess/InProcessSession.h"
#include "tests/inprocess/Surroundings.h"
#include "tests/inprocess/TurnedLoop.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace {

using namespace ztp;
using namespace ztp::test;

constexpr std::size_t stepsAtMost = 24;
constexpr std::size_t piecesAtMost = 64;

struct Step {
  char letter;
  DataView bytes;
};

std::vector<Step> stepsOf(DataView input) {
  std::vector<Step> steps;
  while (input.size() >= 3 && steps.size() < stepsAtMost) {
    const std::size_t announced = static_cast<std::size_t>(input[1]) * 256U + input[2];
    const std::size_t length = std::min(announced, input.size() - 3);
    steps.push_back({static_cast<char>(input[0]), input.subspan(3, length)});
    input = input.subspan(3 + length);
  }
  return steps;
}

std::string member(std::string_view name, DataView bytes) {
  const auto base64 = ZanburyToolProxyUtilities::stringWithEncodedData(bytes);
  return ",\"" + std::string(name) + "\":\"" + std::string(base64) + '"';
}

// A right answer that redirects to the destinations.
Data redirect(DataView destinations) {
  return serverHandshake(member("redirectDestinationsIV", FixedSecrets::current().forwardingIV) +
                         member("redirectDestinations", encrypted(destinations)));
}

// The usual messages up to the state in which the session waits for the result.
void playUntilResult(InProcessSession& session) {
  session.serverSends("h0\n");
  session.serverSends(serverHandshake());
  session.serverSends("I0\n[0\n]0\n");
}

void play(InProcessSession& session, const Step& step, std::size_t chunk) {
  chunk = std::max(chunk, step.bytes.size() / piecesAtMost);
  switch (step.letter) {
    case 'H':
      return session.serverSends("h0\n");
    case 'S':  // a right answer, and members behind it
      return session.serverSends(serverHandshake(textOf(step.bytes)), chunk);
    case 'R':
      return session.serverSends(redirect(step.bytes), chunk);
    case 'F':
      return session.serverSends(frame('f', encrypted(step.bytes)), chunk);
    case 'U':
      return playUntilResult(session);
    case 'O':
      return session.serverSends(frame('o', encrypted(step.bytes)), chunk);
    case 'W':  // bytes as they are
      return session.serverSends(step.bytes, chunk);
    case 'X':  // bytes of the host
      return session.hostSends(step.bytes);
    case 'T':
      return session.timePasses();
    case 'E':
      return session.serverCloses();
    default:  // a frame of that type
      return session.serverSends(frame(step.letter, step.bytes), chunk);
  }
}

bool isHarmless(const std::string& argument) {
  return !argument.empty() && argument.front() != '-' &&
         std::none_of(argument.begin(), argument.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

void checkConnections(const InProcessSession& session) {
  for (const auto& arguments : session.connections()) {
    mustHold(arguments.size() == 21);
    mustHold(arguments[14] == "-l" && isHarmless(arguments[15]));
    mustHold(arguments[16] == "-p" && isHarmless(arguments[17]));
    mustHold(isHarmless(arguments[18]) && arguments[20] == "server");
  }
}

// Neither the key nor the identity may ever be seen by the host, the log or the server.
void checkSecrets(const InProcessSession& session) {
  const auto& key = FixedSecrets::current().symmetricKey;
  const std::string log = session.log();
  for (const std::string& text : {log, session.toHost(), session.toServer()}) {
    mustHold(key.empty() || text.find(textOf(key)) == std::string::npos);
    mustHold(text.find(identityText) == std::string::npos);
    mustHold(text.find(sourceText) == std::string::npos);
  }
  mustHold(std::count(log.begin(), log.end(), '\n') < 200);
}

void checkEnd(const InProcessSession& session) {
  if (!session.status()) return;
  mustHold(Surroundings::instance().leftovers().empty());
  const bool wasAborted = !session.log().empty();
  mustHold(*session.status() != 1 || wasAborted);
}

// What the session may put among the host's own things.
void checkHost() {
  const std::set<std::string> allowed = {"statement.ofx", "in", "out", "result", "logs"};
  for (const auto& entry : std::filesystem::directory_iterator(Surroundings::instance().host())) {
    mustHold(allowed.count(entry.path().filename().string()) == 1);
  }
}

}  // namespace

// Standard error is the session's log.
extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments) {
  static std::vector<char*> all(*arguments, *arguments + *argumentCount);
  static std::string option = "-close_fd_mask=2";
  all.insert(all.begin() + 1, option.data());
  all.push_back(nullptr);
  *arguments = all.data();
  ++*argumentCount;
  return 0;
}

// The first byte says how the server's bytes are cut, and which tool it is.
int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  constexpr std::array<std::size_t, 8> chunks = {SIZE_MAX, 1, 2, 3, 7, 64, 1000, 4096};
  const std::size_t chunk = chunks[bytes[0] % chunks.size()];
  {
    InProcessSession session(bytes[0] & 0x80U ? "ZanburyConverter" : "StatementTool");
    for (const auto& step : stepsOf(DataView(bytes + 1, size - 1))) play(session, step, chunk);
    checkConnections(session);
    checkSecrets(session);
    checkEnd(session);
    checkHost();
  }
  mustHold(TurnedLoop::count() == 0);
  return 0;
}
