// The table.
#include "app/Ending.h"

#include <algorithm>
#include <array>

namespace ztp {
namespace {

constexpr std::string_view goesOn = "...";

constexpr std::array endings = {
    Ending{ending::converted, "", "The tool succeeded and its result was taken in."},
    Ending{ending::toolFailed, "", "The tool ended with a status of its own."},
    Ending{ending::resultUnreadable, "", "The result does not say what is in it."},
    Ending{ending::connectionLost, "",
           "The server's stream ended before the result; the log says in which state."},
    Ending{"canceled", "User canceled", "A byte came through the input FIFO."},
    Ending{"host-gone", "Host terminated", "The process EXPORT_HOST_PID is gone."},
    Ending{"signal", "Terminated by signal ...", "A signal asked the program to end."},
    Ending{"server-role", "Not a server", "The argument was \"server\"."},
    Ending{"invalid-destination", "Invalid server destination",
           "A destination is not a URL with user and host, or ssh would misread it."},
    Ending{"identity-not-written", "Could not write identity to a file",
           "The key could not be stored for ssh."},
    Ending{"message-not-sent", "Could not write message", "The server takes nothing any more."},
    Ending{"message-too-big", "Message is too big", "The server announced more than is allowed."},
    Ending{"message-invalid", "Invalid message received", "The server sent what is not a message."},
    Ending{"message-unexpected", "ERROR: Did not handle message of type: ...",
           "The server sent a message that does not belong there."},
    Ending{ending::serverError, "", "The server gave up; the reason is its own."},
    Ending{"invalid-salt", "Invalid salt",
           "The server does not have the private half of EXPORT_PUBLIC_KEY."},
    Ending{"too-many-redirects", "Too many redirects", "Servers sent the program in circles."},
    Ending{"upload-not-prepared", "Could not create InputArchive directory",
           "There is no room to prepare the upload."},
    Ending{"source-not-copied", "Could not copy the source file to the InputArchive directory",
           "EXPORT_FILE_PATH cannot be read, or there is no room."},
    Ending{"source-not-packed", "Could not create InputArchive.zip",
           "The archiver could not pack the source."},
    Ending{"source-not-encrypted", "Could not encrypt InputArchive.zip",
           "The upload could not be encrypted."},
    Ending{"source-too-big", "Input archive is too big",
           "The server accepts no upload of that size."},
    Ending{"upload-not-sent", "Could not write message asynchronously",
           "The upload could not be read or sent."},
    Ending{"forwarding-failed", "Could not write forwarded data",
           "The tool's bytes could not be decrypted or given to the host."},
    Ending{"result-not-decrypted", "Could not decrypt OutputArchive.zip",
           "The result is not what the session key encrypted, or there is no room."},
    Ending{"result-not-unpacked", "Could not unzip OutputArchive.zip",
           "The result is not an archive that can be unpacked safely, or there is no room."},
    Ending{"result-not-delivered", "Could not copy dest file to host path",
           "The converted file is not in the result, or EXPORT_DEST_PATH cannot be written."},
    Ending{"logs-not-delivered", "Could not copy logs to host path",
           "The logs are not in the result, or EXPORT_LOGS_DIR_PATH cannot be made."},
    Ending{"log-not-delivered", "Could not copy log file to host logs directory",
           "A log cannot be put into EXPORT_LOGS_DIR_PATH."},
    Ending{"host-message-not-made", "Could not serialize fifo message",
           "A message for the host could not be made."},
    Ending{"host-message-too-long", "Could not generate valid header for fifo message",
           "A message for the host could not be made."},
    Ending{"host-message-not-sent", "Could not send FIFO message",
           "The output FIFO cannot be written."},
    Ending{ending::systemError, "", "The system refused something; the exception says what."},
};

bool hasReason(const Ending& ending, std::string_view reason) {
  if (!ending.reason.ends_with(goesOn)) return ending.reason == reason;
  return reason.starts_with(ending.reason.substr(0, ending.reason.size() - goesOn.size()));
}

}  // namespace

std::span<const Ending> allEndings() {
  return endings;
}

std::string_view codeForReason(const std::optional<std::string_view>& reason) {
  if (!reason || reason->empty()) return ending::systemError;
  const auto* const found = std::ranges::find_if(
      endings, [&](const Ending& ending) { return hasReason(ending, *reason); });
  return found == endings.end() ? ending::systemError : found->code;
}

}  // namespace ztp
