// A record of one session for machines: lines of JSON (RFC 8259) in a file of the host's choice.
//
//   line = {"v": 1, "time": "2026-03-01T12:00:00.123Z", "event": EVENT, "state": STATE, ...}
//
//   start        "program": version
//   connect      "user", "host", "port": the server that is tried now
//   transition   "from": the state before
//   upload       "bytes": of the encrypted archive, all of them written
//   download     "bytes": of the encrypted result, all of them read
//   end          "code": see Ending.h, "reason": the logged one or null, "status",
//                "delivered": {"file", "logs"}, "bytes": {"upload", "download", "toTool", "toHost"}
//
// It holds no secret, and whatever becomes of it, the session goes on: a line that cannot be
// written at once ends the record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/ZanburyToolProxyState.h"
#include "platform/FileHandle.h"
#include "util/ServerDestination.h"

namespace ztp {

/// Writes the record, or nothing.
class EventRecord {
 public:
  using State = ZanburyToolProxyState;

  /// One that writes nothing.
  EventRecord() = default;
  /// Appends to the file or FIFO at the path; a new file gets mode 0600. Writes nothing when there
  /// is no path, or nothing that can be opened without waiting.
  explicit EventRecord(const std::optional<std::string>& path);
  EventRecord(EventRecord&&) = default;
  EventRecord& operator=(EventRecord&&) = default;
  /// Writes the last line, if the session has come to its end: nothing comes behind it.
  ~EventRecord();

  /// The server is tried from now on.
  void connecting(const ServerDestination& server);
  /// The session's state is `next` from now on.
  void transition(State next);
  void uploaded(std::uint64_t bytes);
  void downloaded(std::uint64_t bytes);
  /// Adds to what has been forwarded.
  void forwardedToTool(std::uint64_t bytes) { toTool_ += bytes; }
  /// The same the other way.
  void forwardedToHost(std::uint64_t bytes) { toHost_ += bytes; }
  /// The code of the end that comes now, where no reason tells it; see Ending.h.
  void endsWith(std::string_view code) { code_ = code; }
  /// An abort for that reason has begun.
  void aborting(const std::optional<std::string>& reason);
  /// It is at the host's path.
  void deliveredFile() { didDeliverFile_ = true; }
  /// They are at the host's path.
  void deliveredLogs() { didDeliverLogs_ = true; }
  /// The session is over; what it owns may still have to go.
  void ended(bool didAbort, std::int64_t toolExitCode) noexcept;

 private:
  /// `details` gives the line's own members; it is asked only when there is a file.
  template <typename Details>
  void write(std::string_view event, const Details& details) noexcept;

  std::optional<FileHandle> file_;
  State state_ = State::None;
  std::string_view code_;  // empty: as the session's end says
  std::optional<std::string> reason_;
  bool hasEnded_ = false;
  bool didAbort_ = false;
  std::int64_t toolExitCode_ = 0;
  std::uint64_t upload_ = 0;
  std::uint64_t download_ = 0;
  std::uint64_t toTool_ = 0;
  std::uint64_t toHost_ = 0;
  bool didDeliverFile_ = false;
  bool didDeliverLogs_ = false;
};

}  // namespace ztp
