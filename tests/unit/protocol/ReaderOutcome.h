// What reading one frame or a stream of frames came to, in a form that tests compare and print.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/MessageReader.h"

namespace ztp::test {

/// A message as its reader shows it. `body` is "(none)" without one, and read from the file when
/// it went there.
struct ReaderOutcome {
  ZanburyToolProxyMessageState state;
  ZanburyToolProxyMessageType type;
  std::uint64_t length;
  std::string body;

  friend bool operator==(const ReaderOutcome&, const ReaderOutcome&) = default;
};

std::ostream& operator<<(std::ostream& stream, const ReaderOutcome& outcome);

/// What the reader shows now. In the middle of a body it is aborted for that: then it shows what it
/// has gathered.
ReaderOutcome outcomeOf(MessageReader& reader);

/// Reads frame after frame as the session does, from pieces that end at each of `cuts` (ascending
/// offsets) and at the end of the stream. Stops at the first broken frame. The last outcome may be
/// one of a frame that is not complete.
std::vector<ReaderOutcome> readStream(std::string_view stream, const std::vector<std::size_t>& cuts,
                                      const std::filesystem::path* temporaryDirectoryPath);

}  // namespace ztp::test
