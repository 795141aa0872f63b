// Drives the session through the loop that turns only when told.
#include "tests/inprocess/InProcessSession.h"

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

#include "app/ProcessEnded.h"
#include "tests/inprocess/ServerPeer.h"
#include "tests/inprocess/Surroundings.h"
#include "tests/inprocess/TurnedLoop.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

// More turns than any upload of the small source takes: one that does not come to rest is a fault.
constexpr int turnsAtMost = 1000;

int opened(const std::filesystem::path& path) {
  return ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

std::string encoded(DataView bytes) {
  return std::string(ZanburyToolProxyUtilities::stringWithEncodedData(bytes));
}

}  // namespace

template <typename Action>
void InProcessSession::act(const Action& action) {
  if (status_) return;
  try {
    session_->perform(action);
  } catch (const ProcessEnded& end) {
    status_ = end.status;
    session_.reset();
  }
  ServerPeer::takeAll();
}

InProcessSession::InProcessSession(std::string_view tool) {
  auto& surroundings = Surroundings::instance();
  surroundings.prepare(tool);
  FixedSecrets::reset();
  inputFifo_ = FileHandle(opened(surroundings.host() / "in"));
  ServerPeer::readFifo(opened(surroundings.host() / "out"));
  session_ = ZanburyToolProxy::initServerProxy(false);
  act([this] {
    session_->startProxy();
    turnUntilQuiet();
  });
}

InProcessSession::~InProcessSession() {
  session_.reset();
  static_cast<void>(inputFifo_.availableData());
  ServerPeer::reset();
}

void InProcessSession::turnUntilQuiet() {
  for (int turn = 0; TurnedLoop::turn(); ++turn) {
    ServerPeer::takeAll();
    if (turn == turnsAtMost) std::abort();
  }
}

void InProcessSession::serverSends(DataView bytes, std::size_t chunk) {
  act([&] {
    while (!bytes.empty()) {
      const std::size_t count = ServerPeer::put(bytes.first(std::min(chunk, bytes.size())));
      if (count == 0) return;  // nobody reads any more
      bytes = bytes.subspan(count);
      turnUntilQuiet();
    }
  });
}

void InProcessSession::serverCloses() {
  act([this] {
    ServerPeer::closeStream();
    turnUntilQuiet();
  });
}

void InProcessSession::hostSends(DataView bytes) {
  act([&] {
    static_cast<void>(!::write(inputFifo_.fileDescriptor(), bytes.data(), bytes.size()));
    turnUntilQuiet();
  });
}

void InProcessSession::timePasses() {
  act([this] {
    TurnedLoop::passTime();
    turnUntilQuiet();
  });
}

const std::string& InProcessSession::toServer() const {
  return ServerPeer::toServer();
}

const std::string& InProcessSession::toHost() const {
  return ServerPeer::toHost();
}

const std::vector<std::vector<std::string>>& InProcessSession::connections() const {
  return ServerPeer::connections();
}

Data frame(char type, DataView body) {
  const std::string header = type + std::to_string(body.size()) + "\n";
  Data result = copyOf(bytesOf(header));
  result.insert(result.end(), body.begin(), body.end());
  return result;
}

Data frame(char type, std::string_view body) {
  return frame(type, bytesOf(body));
}

Data encrypted(DataView body) {
  const auto& secrets = FixedSecrets::current();
  return CryptoUtilities::encryptData(body, AESKeyBytes{secrets.symmetricKey},
                                      DataView(secrets.forwardingIV))
      .value_or(Data{});
}

Data serverHandshake(std::string_view more) {
  const auto& secrets = FixedSecrets::current();
  const std::string iv = encoded(secrets.forwardingIV);
  const std::string body = R"({"saltIV":")" + iv + R"(","salt":")" +
                           encoded(encrypted(secrets.salt)) + R"(","outputArchiveIV":")" + iv +
                           '"' + std::string(more) + "}";
  return frame('s', body);
}

}  // namespace ztp::test
