// The incremental reader, case by case: what it takes, where the body goes, what it refuses.
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "protocol/MessageReader.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/unit/protocol/ReaderOutcome.h"

namespace ztp::test {
namespace {

using Message = ZanburyToolProxyMessage;
using State = ZanburyToolProxyMessageState;
using Type = ZanburyToolProxyMessageType;
using ConsumedSizes = std::vector<std::size_t>;

constexpr std::string_view wrongState = "ERROR: -consumeData: called while in the wrong state\n";

// A reader, what is fed to it and what it makes of that.
class Reader {
 public:
  explicit Reader(Type requiredType = Type::None, const std::filesystem::path* directory = nullptr)
      : message_(Message::initForReadingWithTemporaryDirectoryPath(directory, requiredType)) {}

  std::size_t feed(std::string_view chunk) {
    return message_->consumeDataWithBytes(bytesOf(chunk));
  }

  ConsumedSizes feedByteByByte(std::string_view chunk) {
    ConsumedSizes consumed;
    for (std::size_t index = 0; index < chunk.size(); ++index) {
      consumed.push_back(feed(chunk.substr(index, 1)));
    }
    return consumed;
  }

  [[nodiscard]] ReaderOutcome outcome() { return outcomeOf(*message_); }
  MessageReader* operator->() { return message_.get(); }

 private:
  std::unique_ptr<MessageReader> message_;
};

struct Case {
  std::string_view name;
  Type requiredType;
  std::string_view chunk;
  std::size_t taken;
  ReaderOutcome outcome;
};

std::ostream& operator<<(std::ostream& stream, const Case& row) {
  return stream << row.name;
}

class Frame : public testing::TestWithParam<Case> {};

TEST_P(Frame, IsReadFromOneChunk) {
  const auto& row = GetParam();
  Reader reader(row.requiredType);
  EXPECT_EQ(reader.feed(row.chunk), row.taken);
  EXPECT_EQ(reader.outcome(), row.outcome);
}

TEST_P(Frame, IsReadTheSameCutAtEveryByte) {
  const auto& row = GetParam();
  for (std::size_t cut = 1; cut < row.chunk.size(); ++cut) {
    SCOPED_TRACE(cut);
    Reader reader(row.requiredType);
    const std::size_t first = reader.feed(row.chunk.substr(0, cut));
    if (first == cut && !reader->didFinishReadingBody()) reader.feed(row.chunk.substr(cut));
    EXPECT_EQ(reader.outcome(), row.outcome);
  }
}

TEST_P(Frame, IsReadTheSameByteByByte) {
  const auto& row = GetParam();
  Reader reader(row.requiredType);
  for (const char byte : row.chunk) {
    if (reader->didFinishReadingBody() || reader->shouldAbort()) break;
    reader.feed({&byte, 1});
  }
  EXPECT_EQ(reader.outcome(), row.outcome);
}

TEST_P(Frame, AnswersTheThreeQuestionsByItsState) {
  const auto& row = GetParam();
  Reader reader(row.requiredType);
  reader.feed(row.chunk);
  EXPECT_EQ(reader->shouldAbort(), row.outcome.state == State::Aborted);
  EXPECT_EQ(reader->didFinishReadingBody(), row.outcome.state == State::FinishedReading);
  EXPECT_EQ(reader->didFinishReadingHeader(),
            row.outcome.state == State::FinishedReading || row.outcome.state == State::ReadingBody);
}

const std::vector<Case> frames = {
    {"WithoutABody",
     Type::None,
     "h0\n",
     3,
     {State::FinishedReading, Type::ServerHello, 0, "(none)"}},
    {"FollowedByAnotherOne",
     Type::None,
     "f3\nabcX",
     6,
     {State::FinishedReading, Type::Forward, 3, "abc"}},
    {"WithoutDigits",
     Type::None,
     "h\n",
     2,
     {State::FinishedReading, Type::ServerHello, 0, "(none)"}},
    {"OfTypeNone", Type::None, ".1\nx", 4, {State::FinishedReading, Type::None, 1, "x"}},
    {"WithTenDigits",
     Type::None,
     "f0000000001\nx",
     13,
     {State::FinishedReading, Type::Forward, 1, "x"}},
    {"WithElevenDigits",
     Type::None,
     "f00000000001\nx",
     1,
     {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithALetterInTheLength",
     Type::None,
     "f1a\n",
     1,
     {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithAMinusSign", Type::None, "f-1\n", 1, {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithAPlusSign", Type::None, "f+1\n", 1, {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithABlank", Type::None, "f 1\n", 1, {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithACarriageReturn", Type::None, "f1\r\n", 1, {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithTheByteBeforeTheDigits",
     Type::None,
     "f/\n",
     1,
     {State::Aborted, Type::Forward, 0, "(none)"}},
    {"WithTheByteBehindTheDigits",
     Type::None,
     "f:\n",
     1,
     {State::Aborted, Type::Forward, 0, "(none)"}},
    {"CutAtTenDigitsAsWritersDo",
     Type::None,
     {"f1000000000\0x", 13},
     1,
     {State::Aborted, Type::Forward, 0, "(none)"}},
    {"OfAnUnknownType", Type::None, "x0\n", 0, {State::Aborted, Type::None, 0, "(none)"}},
    {"OfTheRequiredType",
     Type::ServerHello,
     "h2\n{}",
     5,
     {State::FinishedReading, Type::ServerHello, 2, "{}"}},
    {"OfAnotherTypeThanRequired",
     Type::ServerHello,
     "s0\n",
     0,
     {State::Aborted, Type::None, 0, "(none)"}},
    {"OfTypeNoneWhereAnotherIsRequired",
     Type::ServerHello,
     ".0\n",
     0,
     {State::Aborted, Type::None, 0, "(none)"}},
    {"OfAnyTypeWhereNoneIsRequired",
     Type::None,
     "s0\n",
     3,
     {State::FinishedReading, Type::ServerHandshake, 0, "(none)"}},
    {"StillWithoutItsLength",
     Type::None,
     "f12",
     3,
     {State::ReadingLength, Type::Forward, 0, "(none)"}},
    {"StillWithoutItsBody", Type::None, "f3\nab", 5, {State::ReadingBody, Type::Forward, 3, "ab"}},
    {"WithABodyOfEveryKindOfByte",
     Type::None,
     {"]5\n\0\n\xff]0", 8},
     8,
     {State::FinishedReading, Type::ServerDidStopForwarding, 5, {"\0\n\xff]0", 5}}},
    {"OfAnArchiveWithoutADirectory",
     Type::None,
     "o3\nzip",
     6,
     {State::FinishedReading, Type::OutputArchive, 3, "zip"}},
};

INSTANTIATE_TEST_SUITE_P(Reader, Frame, testing::ValuesIn(frames),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(NewReader, WaitsForAType) {
  Reader reader;
  EXPECT_EQ(reader->state, State::ReadingType);
  EXPECT_EQ(reader->bodyBytesConsumed, 0U);
}

TEST(Reader, TakesOneByteACall) {
  Reader reader;
  EXPECT_EQ(reader.feedByteByByte("f3\nabc"), (ConsumedSizes{1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(reader.outcome(), (ReaderOutcome{State::FinishedReading, Type::Forward, 3, "abc"}));
}

TEST(Reader, RefusesTheEleventhDigitWhereverItComes) {
  Reader reader;
  EXPECT_EQ(reader.feedByteByByte("f00000000001"),
            (ConsumedSizes{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0}));
  EXPECT_TRUE(reader->shouldAbort());
}

TEST(Reader, CountsNothingOfALengthThatIsRefused) {
  Reader reader;
  EXPECT_EQ(reader.feed("f"), 1U);
  EXPECT_EQ(reader.feed("12a"), 0U) << "the digits before the letter do not count";
}

TEST(Reader, MovesThroughItsStages) {
  Reader reader;
  reader.feed("f");
  EXPECT_EQ(reader->state, State::ReadingLength);
  reader.feed("0");
  EXPECT_EQ(reader->state, State::ReadingLength);
  reader.feed("2\n");
  EXPECT_EQ(reader->state, State::ReadingBody);
  EXPECT_EQ(reader->length, 2U);
  reader.feed("a");
  EXPECT_EQ(reader->state, State::ReadingBody);
  EXPECT_EQ(reader->bodyBytesConsumed, 1U);
  EXPECT_FALSE(reader->bodyData.has_value());
  reader.feed("b");
  EXPECT_EQ(reader->state, State::FinishedReading);
  EXPECT_EQ(reader->bodyBytesConsumed, 2U);
  EXPECT_EQ(textOf(reader->bodyData.value()), "ab");
}

TEST(Reader, IsNotChangedByAnEmptyChunkInAnyState) {
  const CapturedLog log;
  for (int value = 0; value <= 7; ++value) {
    Reader reader;
    reader->state = static_cast<State>(value);
    EXPECT_EQ(reader.feed(""), 0U);
    EXPECT_EQ(reader->state, static_cast<State>(value));
  }
  EXPECT_EQ(log.text(), "");
}

TEST(Reader, IsAbortedByBytesAfterItsEnd) {
  Reader reader;
  reader.feed("h0\n");
  const CapturedLog log;
  EXPECT_EQ(reader.feed("h"), 0U);
  EXPECT_EQ(reader->state, State::Aborted);
  EXPECT_EQ(log.text(), wrongState);
}

TEST(Reader, IsAbortedByBytesBeforeItsBeginning) {
  Reader reader;
  reader->state = State::None;
  const CapturedLog log;
  EXPECT_EQ(reader.feed("h0\n"), 0U);
  EXPECT_TRUE(reader->shouldAbort());
  EXPECT_EQ(log.text(), wrongState);
}

TEST(Reader, TakesNothingSilentlyInTheStatesThatDoNotRead) {
  const CapturedLog log;
  for (const State state : {State::Aborted, State::WritingAsynchronously, State::FinishedWriting}) {
    Reader reader;
    reader->state = state;
    EXPECT_EQ(reader.feed("h0\n"), 0U);
    EXPECT_EQ(reader->state, state);
  }
  EXPECT_EQ(log.text(), "");
}

TEST(Reader, RefusesFramesWithoutALogLine) {
  const CapturedLog log;
  for (const std::string_view chunk : {"x", "f1a", "f-1\n", "f00000000000"}) {
    Reader reader;
    reader.feed(chunk);
    EXPECT_TRUE(reader->shouldAbort()) << chunk;
  }
  EXPECT_EQ(log.text(), "");
}

TEST(Reader, HasAHeaderInTheTwoStatesBehindItAndInAnyToCome) {
  const std::vector<bool> expected = {false, false, false, false, true,
                                      true,  false, false, true,  true};
  for (std::size_t value = 0; value < expected.size(); ++value) {
    Reader reader;
    reader->state = static_cast<State>(value);
    EXPECT_EQ(reader->didFinishReadingHeader(), expected[value]) << value;
    EXPECT_EQ(reader->didFinishReadingBody(), value == 5) << value;
    EXPECT_EQ(reader->shouldAbort(), value == 1) << value;
  }
}

TEST(Stage, OfTheTypeNeedsAByte) {
  Reader reader;
  EXPECT_EQ(reader->consumeTypeWithBytes({}), 0U);
  EXPECT_TRUE(reader->shouldAbort());
}

TEST(Stage, OfTheLengthWaitsForBytes) {
  Reader reader;
  reader.feed("f1");
  EXPECT_EQ(reader->consumeLengthWithBytes({}), 0U);
  EXPECT_EQ(reader->state, State::ReadingLength);
}

TEST(Stage, OfTheBodyWaitsForBytes) {
  Reader reader;
  reader.feed("f1\n");
  EXPECT_EQ(reader->consumeBodyWithBytes({}), 0U);
  EXPECT_EQ(reader->state, State::ReadingBody);
}

// The files that this process has open, and the one of looking at them.
std::ptrdiff_t openFiles() {
  return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

TEST(RefusedMessage, ShowsItsHeaderAndLetsGoOfItsFile) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  const auto openBefore = openFiles();
  reader.feed("o9999999999\nab");
  EXPECT_EQ(openFiles(), openBefore + 1);
  EXPECT_TRUE(reader->didFinishReadingHeader());
  EXPECT_EQ(reader->length, 9'999'999'999U);
  reader->abortReading();
  EXPECT_TRUE(reader->shouldAbort());
  EXPECT_EQ(openFiles(), openBefore);
  EXPECT_EQ(reader.feed("cd"), 0U);
  EXPECT_EQ(contentOf(*reader->bodyFilePath), "ab") << "the file stays until the directory goes";
}

TEST(RefusedMessage, KeepsWhatHadArrivedInMemory) {
  Reader reader;
  reader.feed("f9\nab");
  reader->abortReading();
  EXPECT_EQ(textOf(reader->bodyData.value()), "ab");
}

TEST(RefusedMessage, CanBeOneThatHasNotBegun) {
  Reader reader;
  reader->abortReading();
  EXPECT_TRUE(reader->shouldAbort());
}

// Bytes that a reader of this header has reserved for the body.
std::size_t roomAfter(std::string_view header) {
  Reader reader;
  reader.feed(header);
  reader->abortReading();
  return reader->bodyData.value().capacity();
}

TEST(BodyInMemory, GetsRoomForItsLengthAtOnce) {
  EXPECT_EQ(roomAfter("f100000\n"), 100'000U);
}

// A length is only a claim: ten digits must not cost ten gigabytes.
TEST(BodyInMemory, GetsRoomForTenMillionBytesAtMost) {
  for (const std::string_view header : {"f10000001\n", "f9999999999\n", "I9999999999\n"}) {
    EXPECT_EQ(roomAfter(header), 10'000'000U) << header;
  }
}

TEST(BodyInMemory, GrowsBeyondThatWithWhatArrives) {
  Reader reader;
  std::string body;
  body.resize(10'000'000, 'a');
  body.resize(12'345'678, 'b');
  reader.feed("I12345678\n");
  for (std::size_t offset = 0; offset < body.size(); offset += 65'536) {
    reader.feed(std::string_view(body).substr(offset, 65'536));
  }
  EXPECT_TRUE(reader->didFinishReadingBody());
  EXPECT_EQ(textOf(reader->bodyData.value()), body);
}

TEST(BodyInAFile, IsNamedAfterTheMessage) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  reader->messageId = 3;
  const auto openBefore = openFiles();
  EXPECT_EQ(reader.feed("o3\nzip"), 6U);
  EXPECT_TRUE(reader->didFinishReadingBody());
  EXPECT_EQ(reader->bodyFilePath, folder.path() / "03-OutputArchive");
  EXPECT_EQ(contentOf(folder.path() / "03-OutputArchive"), "zip");
  EXPECT_FALSE(reader->bodyData.has_value());
  EXPECT_EQ(openFiles(), openBefore) << "the file is closed";
}

TEST(BodyInAFile, IsTheSameFromSmallChunks) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  reader->messageId = 12;
  reader.feedByteByByte("i10\n0123456789");
  EXPECT_EQ(reader.outcome(),
            (ReaderOutcome{State::FinishedReading, Type::InputArchive, 10, "0123456789"}));
  EXPECT_EQ(reader->bodyFilePath, folder.path() / "12-InputArchive");
}

TEST(BodyInAFile, IsForTheOwnerOnly) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  reader.feed("o3\n");
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(*reader->bodyFilePath).permissions(),
            perms::owner_read | perms::owner_write);
}

TEST(BodyInAFile, ReplacesWhatWasThere) {
  const ScratchDirectory folder;
  folder.write("07-OutputArchive", "something longer");
  Reader reader(Type::None, &folder.path());
  reader->messageId = 7;
  reader.feed("o3\nzip");
  EXPECT_EQ(contentOf(folder.path() / "07-OutputArchive"), "zip");
}

TEST(BodyInAFile, IsNotMadeForAnArchiveWithoutBytes) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  EXPECT_EQ(reader.feed("o0\n"), 3U);
  EXPECT_TRUE(reader->didFinishReadingBody());
  EXPECT_FALSE(reader->bodyFilePath.has_value());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(BodyInAFile, IsNotMadeForOtherTypes) {
  const ScratchDirectory folder;
  Reader reader(Type::None, &folder.path());
  reader.feed("f3\nabc");
  EXPECT_EQ(textOf(reader->bodyData.value()), "abc");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(BodyInAFile, ThatCannotBeOpenedAbortsWithALine) {
  const ScratchDirectory folder;
  const auto missing = folder.path() / "missing";
  Reader reader(Type::None, &missing);
  const CapturedLog log;
  EXPECT_EQ(reader.feed("o3\nzip"), 3U) << "the header alone";
  EXPECT_TRUE(reader->shouldAbort());
  EXPECT_EQ(log.text(), "ERROR: Could not create file handle\n");
}

TEST(BodyInAFile, ThatCannotBeWrittenAbortsWithTheReason) {
  const ScratchDirectory folder;
  std::filesystem::create_symlink("/dev/full", folder.path() / "03-OutputArchive");
  Reader reader(Type::None, &folder.path());
  reader->messageId = 3;
  const CapturedLog log;
  const auto openBefore = openFiles();
  reader.feed("o3\n");
  EXPECT_EQ(reader.feed("zip"), 0U);
  EXPECT_TRUE(reader->shouldAbort());
  EXPECT_EQ(log.text(), "write: No space left on device\n");
  EXPECT_EQ(openFiles(), openBefore + 1) << "open until it is cleaned up";
  reader->abortReading();
  EXPECT_EQ(openFiles(), openBefore);
}

TEST(BodyThatIsNotKept, IsCountedAndDropped) {
  const ScratchDirectory folder;
  for (const std::string_view type : {"o", "I", "f", "."}) {
    SCOPED_TRACE(type);
    Reader reader(Type::None, &folder.path());
    reader->keepsBodyOfType = [](Type) { return false; };
    EXPECT_EQ(reader.feed(std::string(type) + "5\nab"), 5U);
    EXPECT_EQ(reader->state, State::ReadingBody);
    EXPECT_EQ(reader->bodyBytesConsumed, 2U);
    EXPECT_EQ(reader.feed("cdeh0\n"), 3U);
    EXPECT_TRUE(reader->didFinishReadingBody());
    EXPECT_FALSE(reader->bodyData);
    EXPECT_FALSE(reader->bodyFilePath);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

TEST(BodyThatIsNotKept, IsChosenByTheType) {
  Reader reader;
  reader->keepsBodyOfType = [](Type type) { return type == Type::Forward; };
  reader.feed("f3\nabc");
  EXPECT_EQ(reader.outcome(), (ReaderOutcome{State::FinishedReading, Type::Forward, 3, "abc"}));
}

TEST(BodyOfAnEmptyDictionary, ReadsAsNoBodyAndAsAnEmptyDictionary) {
  Reader reader;
  reader.feed("O0\n");
  EXPECT_FALSE(reader->bodyData.has_value());
  EXPECT_EQ(reader->bodyDataAsDictionary()->dump(), "{}");
}

}  // namespace
}  // namespace ztp::test
