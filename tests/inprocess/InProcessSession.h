// One session from its start to its end, driven from outside: the test plays the server behind ssh
// and the host.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/ZanburyToolProxy.h"
#include "platform/Data.h"
#include "tests/inprocess/FixedSecrets.h"
#include "tests/support/CapturedLog.h"

namespace ztp::test {

/// A session that has started and waits for the hello. Nothing happens but in the calls below.
/// After its end they do nothing.
class InProcessSession {
 public:
  explicit InProcessSession(std::string_view tool = "StatementTool");
  InProcessSession(const InProcessSession&) = delete;
  InProcessSession& operator=(const InProcessSession&) = delete;
  ~InProcessSession();

  /// The server's bytes, in pieces of at most `chunk` bytes, each dealt with before the next comes.
  void serverSends(DataView bytes, std::size_t chunk = SIZE_MAX);
  void serverSends(std::string_view text) { serverSends(bytesOf(text)); }
  /// The end of the server's stream.
  void serverCloses();
  /// Bytes of the host.
  void hostSends(DataView bytes);
  /// Every timer fires once.
  void timePasses();

  /// The status that the process would have ended with; absent while it goes on.
  [[nodiscard]] std::optional<int> status() const { return status_; }
  /// What was logged, and what was sent so far.
  [[nodiscard]] std::string log() const { return log_.text(); }
  [[nodiscard]] const std::string& toServer() const;
  [[nodiscard]] const std::string& toHost() const;
  [[nodiscard]] const std::vector<std::vector<std::string>>& connections() const;

 private:
  template <typename Action>
  void act(const Action& action);
  void turnUntilQuiet();

  CapturedLog log_;
  FileHandle inputFifo_{-1};
  std::unique_ptr<ZanburyToolProxy> session_;
  std::optional<int> status_;
};

/// A frame with its header.
Data frame(char type, DataView body = {});
Data frame(char type, std::string_view body);
/// What a server that has read the handshake sends as its own, with more members behind the salt
/// (such as `,"maxInputArchiveSize":5`).
Data serverHandshake(std::string_view more = {});
/// Under the session key; the output IV of `serverHandshake` is the forwarding IV.
Data encrypted(DataView body);

}  // namespace ztp::test
