// Fuzzes the frame reader: whatever the bytes are and however they are cut, it must neither fail
// nor decide differently from the same bytes in one piece.
#include <memory>
#include <string>
#include <vector>

#include "protocol/MessageReader.h"
#include "tests/fuzz/Fuzzing.h"

namespace {

using namespace ztp;
using Message = ZanburyToolProxyMessage;

struct Frame {
  ZanburyToolProxyMessageType type;
  std::uint64_t length;
  std::string body;
  friend bool operator==(const Frame&, const Frame&) = default;
};

struct Reading {
  std::vector<Frame> frames;
  bool isBroken = false;
  friend bool operator==(const Reading&, const Reading&) = default;
};

class Stream {
 public:
  void feed(DataView chunk) {
    while (!chunk.empty() && !reading_.isBroken) {
      if (!message_) {
        message_ = Message::initForReadingWithTemporaryDirectoryPath(
            nullptr, ZanburyToolProxyMessageType::None);
      }
      const std::size_t taken = message_->consumeDataWithBytes(chunk);
      mustHold(taken <= chunk.size());
      if (message_->shouldAbort()) reading_.isBroken = true;
      if (message_->didFinishReadingBody()) finish();
      chunk = chunk.subspan(taken);
    }
  }
  [[nodiscard]] const Reading& reading() const { return reading_; }

 private:
  void finish() {
    const std::string body(message_->bodyData ? textOf(*message_->bodyData) : "");
    mustHold(body.size() == message_->length);
    reading_.frames.push_back({message_->type, message_->length, body});
    message_.reset();
  }

  std::unique_ptr<MessageReader> message_;
  Reading reading_;
};

}  // namespace

// The first byte decides how the rest is cut.
int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t step = bytes[0] % 13U + 1;
  const DataView input(bytes + 1, size - 1);
  Stream whole;
  whole.feed(input);
  Stream cut;
  for (std::size_t offset = 0; offset < input.size(); offset += step) {
    cut.feed(input.subspan(offset, std::min(step, input.size() - offset)));
  }
  mustHold(whole.reading() == cut.reading());
  return 0;
}
