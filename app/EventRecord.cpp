// One line, one write, no waiting.
#include "app/EventRecord.h"

#include <chrono>
#include <exception>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

#include "app/Ending.h"
#include "platform/OpenFile.h"
#include "platform/Text.h"

namespace ztp {
namespace {

using Json = nlohmann::ordered_json;

constexpr int formatVersion = 1;
constexpr int statusSeenByTheHost = 0xff;  // of an exit status (wait(2))

std::string now() {
  using namespace std::chrono;
  const auto time = system_clock::now();
  const auto part = duration_cast<milliseconds>(time.time_since_epoch()).count() % 1000;
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(system_clock::to_time_t(time)),
                     part);
}

// The code of an end that nobody has given one.
std::string_view codeOfEnd(bool didAbort, std::int64_t toolExitCode) {
  if (didAbort) return ending::systemError;  // no memory for an abort in order
  return toolExitCode == 0 ? ending::converted : ending::toolFailed;
}

}  // namespace

template <typename Details>
void EventRecord::write(std::string_view event, const Details& details) noexcept {
  if (!file_) return;
  try {
    Json line{
        {"v", formatVersion}, {"time", now()}, {"event", event}, {"state", stringForState(state_)}};
    line.update(details());
    const std::string text = line.dump() + "\n";
    const ssize_t written = ::write(file_->fileDescriptor(), text.data(), text.size());
    if (written == static_cast<ssize_t>(text.size())) return;
  } catch (const std::exception&) {
    // As for a line that does not fit.
  }
  // What came now would follow half a line, or a gap.
  file_.reset();
}

EventRecord::EventRecord(const std::optional<std::string>& path) {
  if (!path || path->empty()) return;
  constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY;
  const int fileDescriptor = openFile(*path, flags, 0600);
  if (fileDescriptor >= 0) file_.emplace(fileDescriptor);
  write("start", [] { return Json{{"program", ZTP_VERSION}}; });
}

void EventRecord::connecting(const ServerDestination& server) {
  write("connect", [&] {
    return Json{{"user", toValidUtf8(server.user)},
                {"host", toValidUtf8(server.host)},
                {"port", server.portText}};
  });
}

void EventRecord::transition(State next) {
  const State before = std::exchange(state_, next);
  write("transition", [&] { return Json{{"from", stringForState(before)}}; });
}

void EventRecord::uploaded(std::uint64_t bytes) {
  upload_ = bytes;
  write("upload", [&] { return Json{{"bytes", bytes}}; });
}

void EventRecord::downloaded(std::uint64_t bytes) {
  download_ = bytes;
  write("download", [&] { return Json{{"bytes", bytes}}; });
}

void EventRecord::aborting(const std::optional<std::string>& reason) {
  reason_ = reason;
  if (code_ != ending::serverError) code_ = codeForReason(reason);
}

void EventRecord::ended(bool didAbort, std::int64_t toolExitCode) noexcept {
  hasEnded_ = true;
  didAbort_ = didAbort;
  toolExitCode_ = toolExitCode;
}

EventRecord::~EventRecord() {
  if (!hasEnded_) return;
  write("end", [&] {
    return Json{
        {"code", code_.empty() ? codeOfEnd(didAbort_, toolExitCode_) : code_},
        {"reason", reason_ ? Json(*reason_) : Json()},
        {"status", didAbort_ ? 1 : toolExitCode_ & statusSeenByTheHost},
        {"delivered", {{"file", didDeliverFile_}, {"logs", didDeliverLogs_}}},
        {"bytes",
         {{"upload", upload_}, {"download", download_}, {"toTool", toTool_}, {"toHost", toHost_}}}};
  });
}

}  // namespace ztp
