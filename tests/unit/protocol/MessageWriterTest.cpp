// The synchronous writer: what stands on the stream, what is refused and what is logged.
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "protocol/MessageWriter.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ObservedPipe.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/protocol/ScriptedWrites.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;
using State = ZanburyToolProxyMessageState;
using Type = ZanburyToolProxyMessageType;

Data data(std::string_view text) {
  return copyOf(bytesOf(text));
}

TEST(WriteDictionary, SendsCompactJson) {
  ObservedPipe stream;
  Dictionary dictionary;
  dictionary["reason"] = "Too late";
  dictionary["code"] = 3;
  EXPECT_TRUE(Message::writeMessageWithType(Type::Error, dictionary, stream.writingEnd));
  EXPECT_EQ(stream.drain(), "!30\n{\"reason\":\"Too late\",\"code\":3}");
}

TEST(WriteDictionary, SendsNoBodyForAnEmptyOne) {
  ObservedPipe stream;
  EXPECT_TRUE(Message::writeMessageWithType(Type::OutputArchiveAcknowledgement,
                                            Dictionary::object(), stream.writingEnd));
  EXPECT_TRUE(Message::writeMessageWithType(Type::Error, Dictionary(), stream.writingEnd));
  EXPECT_EQ(stream.drain(), "O0\n!0\n");
}

TEST(WriteDictionary, FailsWithALineForTextThatIsNotUtf8) {
  ObservedPipe stream;
  Dictionary dictionary;
  dictionary["reason"] = "\xff";
  const CapturedLog log;
  EXPECT_FALSE(Message::writeMessageWithType(Type::Error, dictionary, stream.writingEnd));
  EXPECT_EQ(log.text(), "JSON: a text is not UTF-8\n");
  EXPECT_EQ(stream.drain(), "");
}

TEST(WriteData, SendsHeaderAndBody) {
  ObservedPipe stream;
  EXPECT_TRUE(Message::writeMessageWithType(Type::Forward, data("abc"), stream.writingEnd));
  EXPECT_EQ(stream.drain(), "f3\nabc");
}

TEST(WriteData, SendsTheHeaderAloneForNoBytes) {
  ObservedPipe stream;
  EXPECT_TRUE(Message::writeMessageWithType(Type::ClientHandshake, Data{}, stream.writingEnd));
  EXPECT_EQ(stream.drain(), "c0\n");
}

TEST(WriteData, WaitsForRoomWhateverTheStreamsMode) {
  for (const bool blocking : {true, false}) {
    ObservedPipe stream;
    ZanburyToolProxyUtilities::setBlocking(blocking, stream.writingEnd.fileDescriptor());
    std::string received;
    std::thread peer([&stream, &received] {
      while (received.size() < 1'000'009) {
        received += textOf(stream.readingEnd.readDataOfLength(1'000'009));
      }
    });
    EXPECT_TRUE(
        Message::writeMessageWithType(Type::Forward, Data(1'000'000, 'x'), stream.writingEnd));
    peer.join();
    EXPECT_EQ(received, "f1000000\n" + std::string(1'000'000, 'x'));
  }
}

TEST(WriteData, FailsWithTheReasonWhenTheStreamIsBroken) {
  ObservedPipe stream;
  stream.readingEnd.close();
  const CapturedLog log;
  EXPECT_FALSE(Message::writeMessageWithType(Type::Error, Data{}, stream.writingEnd));
  EXPECT_EQ(log.text(), "write: Broken pipe\n");
}

TEST(WriteData, FailsWithTheReasonWhenTheStreamIsClosed) {
  ObservedPipe stream;
  stream.writingEnd.close();
  const CapturedLog log;
  EXPECT_FALSE(Message::writeMessageWithType(Type::Error, data("x"), stream.writingEnd));
  EXPECT_EQ(log.text(), "write: Bad file descriptor\n");
}

TEST(WriteFile, SendsTheWholeFile) {
  const ScratchDirectory folder;
  const std::string content = std::string(256'000, 'a') + std::string(256'000, 'b') + "end";
  const auto source = folder.write("source", content);
  const auto destination = folder.write("stream", "");
  auto stream = FileHandle::forWritingAtPath(destination);
  const ScriptedWrites writes(stream->fileDescriptor());
  EXPECT_TRUE(Message::writeMessageWithType(Type::InputArchive, source, *stream));
  EXPECT_EQ(contentOf(destination), "i512003\n" + content);
  EXPECT_EQ(writes.offered(), (std::vector<std::size_t>{8, 256'000, 256'000, 3}));
}

TEST(WriteFile, WritesNothingForAnEmptyFile) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  const CapturedLog log;
  EXPECT_FALSE(Message::writeMessageWithType(Type::InputArchive, folder.write("empty", ""),
                                             stream.writingEnd));
  EXPECT_EQ(stream.drain(), "");
  EXPECT_EQ(log.text(), "");
}

TEST(WriteFile, WritesNothingForAMissingFileAndSaysWhy) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  const CapturedLog log;
  EXPECT_FALSE(Message::writeMessageWithType(Type::InputArchive, folder.path() / "missing",
                                             stream.writingEnd));
  EXPECT_EQ(stream.drain(), "");
  EXPECT_NE(log.text().find("No such file or directory\n"), std::string::npos) << log.text();
}

// A message of this type, length and body file; the announced length is the test's affair.
bool writeAnnouncing(std::uint64_t length, const std::filesystem::path& file,
                     ObservedPipe& stream) {
  MessageWriter message;
  message.type = Type::InputArchive;
  message.length = length;
  message.bodyFilePath = file;
  const bool result = message.writeToFileHandle(stream.writingEnd);
  EXPECT_EQ(message.state, State::None) << "writing at once has no states";
  return result;
}

TEST(WriteFile, WritesNothingWhenItCannotBeOpened) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  const CapturedLog log;
  EXPECT_FALSE(writeAnnouncing(3, folder.path() / "missing", stream));
  EXPECT_EQ(stream.drain(), "");
  EXPECT_EQ(log.text(), "");
}

// The size is taken before the file is read. The file counts, not the size: the peer is told of a
// file that shrank by the failure, and of one that grew by a frame that does not end where it said.
TEST(WriteFile, SendsAFileThatGrewWhole) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  EXPECT_TRUE(writeAnnouncing(3, folder.write("grown", "abcdef"), stream));
  EXPECT_EQ(stream.drain(), "i3\nabcdef");
}

TEST(WriteFile, FailsAfterSendingAFileThatShrank) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  const CapturedLog log;
  EXPECT_FALSE(writeAnnouncing(5, folder.write("shrunk", "abc"), stream));
  EXPECT_EQ(stream.drain(), "i5\nabc");
  EXPECT_EQ(log.text(), "ERROR: Only wrote 3 of 5 bytes\n");
}

TEST(WriteFile, FailsWithTheReasonWhenItCannotBeRead) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  const CapturedLog log;
  EXPECT_FALSE(writeAnnouncing(5, folder.path(), stream));
  EXPECT_EQ(stream.drain(), "i5\n");
  EXPECT_EQ(log.text(), "read: Is a directory\n");
}

// A message without the body that it announces would break the stream, so it never begins.
TEST(WriteMessage, DropsOneThatAnnouncesABodyButHasNone) {
  ObservedPipe stream;
  MessageWriter message;
  message.type = Type::Forward;
  message.length = 3;
  const CapturedLog log;
  EXPECT_TRUE(message.writeToFileHandle(stream.writingEnd));
  EXPECT_EQ(stream.drain(), "");
  EXPECT_EQ(log.text(), "");
}

TEST(WriteMessage, PrefersTheBodyInMemory) {
  const ScratchDirectory folder;
  ObservedPipe stream;
  MessageWriter message;
  message.type = Type::Forward;
  message.length = 3;
  message.bodyData = data("abc");
  message.bodyFilePath = folder.write("file", "def");
  EXPECT_TRUE(message.writeToFileHandle(stream.writingEnd));
  EXPECT_EQ(stream.drain(), "f3\nabc");
}

}  // namespace
}  // namespace ztp::test
