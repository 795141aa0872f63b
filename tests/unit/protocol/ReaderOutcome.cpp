// The reading loop of the session, for tests.
#include "tests/unit/protocol/ReaderOutcome.h"

#include <memory>
#include <ostream>

#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;

// Feeds one piece; false when the stream is broken.
bool feed(std::string_view piece, const std::filesystem::path* directory,
          std::unique_ptr<MessageReader>& pending, std::vector<ReaderOutcome>& outcomes) {
  while (!piece.empty()) {
    if (!pending) {
      pending = Message::initForReadingWithTemporaryDirectoryPath(
          directory, ZanburyToolProxyMessageType::None);
    }
    piece.remove_prefix(pending->consumeDataWithBytes(bytesOf(piece)));
    if (pending->shouldAbort()) return false;
    if (!pending->didFinishReadingBody()) continue;
    outcomes.push_back(outcomeOf(*pending));
    pending.reset();
  }
  return true;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ReaderOutcome& outcome) {
  return stream << "state " << static_cast<std::int64_t>(outcome.state) << ", type "
                << Message::stringForMessageType(outcome.type) << ", length " << outcome.length
                << ", body " << outcome.body;
}

ReaderOutcome outcomeOf(MessageReader& reader) {
  const auto state = reader.state;
  if (state == ZanburyToolProxyMessageState::ReadingBody) reader.abortReading();
  std::string body = "(none)";
  if (reader.bodyData) body = textOf(*reader.bodyData);
  if (reader.bodyFilePath) body = contentOf(*reader.bodyFilePath);
  return {state, reader.type, reader.length, std::move(body)};
}

std::vector<ReaderOutcome> readStream(std::string_view stream, const std::vector<std::size_t>& cuts,
                                      const std::filesystem::path* temporaryDirectoryPath) {
  std::vector<ReaderOutcome> outcomes;
  std::unique_ptr<MessageReader> pending;
  std::size_t start = 0;
  bool isWhole = true;
  for (const std::size_t cut : cuts) {
    isWhole = isWhole &&
              feed(stream.substr(start, cut - start), temporaryDirectoryPath, pending, outcomes);
    start = cut;
  }
  if (isWhole) feed(stream.substr(start), temporaryDirectoryPath, pending, outcomes);
  if (pending) outcomes.push_back(outcomeOf(*pending));
  return outcomes;
}

}  // namespace ztp::test
