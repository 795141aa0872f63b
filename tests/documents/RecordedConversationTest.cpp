// Plays the server's side of docs/conversation.json, the conversation that PROTOCOL.md explains,
// and finds the client's side as it is recorded there. What no recording can fix is compared by
// what it says: RSA padding is random, the version is the system's, and the zip archive carries
// times.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "archiver/ZipExtractor.h"
#include "platform/PropertyList.h"
#include "tests/inprocess/InProcessSession.h"
#include "tests/inprocess/Surroundings.h"
#include "util/CryptoUtilities.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Utilities = ZanburyToolProxyUtilities;

constexpr const char* recordPath = ZTP_DOCS "/conversation.json";
constexpr std::size_t bytesInLine = 32;

Data fromHex(const std::string& text) {
  Data bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string hex(DataView bytes) {
  return Utilities::hexStringWithBytes(bytes.data(), bytes.size());
}

// Bytes stand in the record as lines of hexadecimal digits.
Data fromLines(const Json& lines) {
  std::string text;
  for (const auto& line : lines) text += line.get<std::string>();
  return fromHex(text);
}

Json linesOf(DataView bytes) {
  Json lines = Json::array();
  while (!bytes.empty()) {
    const auto line = bytes.first(std::min(bytes.size(), bytesInLine));
    lines.push_back(hex(line));
    bytes = bytes.subspan(line.size());
  }
  return lines;
}

Json readRecord() {
  std::ifstream file(recordPath);
  return Json::parse(file);
}

void write(const fs::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The body of a whole frame.
DataView bodyOf(DataView frame) {
  const std::size_t header = textOf(frame).find('\n') + 1;
  return frame.subspan(header);
}

// The frame at the beginning of a stream that has come whole.
Data firstFrame(std::string_view stream) {
  const std::size_t header = stream.find('\n') + 1;
  if (header == 0) return {};
  const std::size_t length = std::stoul(std::string(stream.substr(1, header - 1)));
  return copyOf(bytesOf(stream.substr(0, header + length)));
}

Data secret(const Json& record, const std::string& name) {
  return fromHex(record["secrets"][name].get<std::string>());
}

Data decrypted(const Json& record, const Json& frame, DataView bytes) {
  const Data key = secret(record, "symmetricKey");
  const Data initializationVector = secret(record, frame["iv"].get<std::string>());
  return CryptoUtilities::decryptData(bodyOf(bytes), AESKeyBytes{key},
                                      DataView(initializationVector))
      .value_or(Data{});
}

// Every file of an archive with its content.
std::map<std::string, std::string> filesIn(DataView zip) {
  const auto destination = Surroundings::instance().host() / "unpacked";
  archiver::extractZip(zip, destination, {});
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(destination)) {
    if (entry.is_regular_file()) {
      files[entry.path().lexically_relative(destination)] = contentOf(entry.path());
    }
  }
  fs::remove_all(destination);
  return files;
}

// The host's side of the record: environment, source file and bundle.
void prepareHost(const Json& record) {
  const auto& host = Surroundings::instance().host();
  for (const auto& [name, value] : record["environment"].items()) {
    ::setenv(name.c_str(), value.get<std::string>().c_str(), 1);
  }
  const fs::path source = host / record["source"]["name"].get<std::string>();
  write(source, record["source"]["content"].get<std::string>());
  ::setenv("EXPORT_FILE_PATH", source.c_str(), 1);
  PropertyListDictionary information;
  for (const auto& [key, value] : record["hostInformation"].items()) {
    information[key] = value.get<std::string>();
  }
  const fs::path bundle = host / "Finance.app";
  fs::create_directories(bundle / "Contents");
  write(bundle / "Contents" / "Info.plist", xmlPropertyList(information).value());
  ::setenv("EXPORT_HOST_PATH", bundle.c_str(), 1);
}

// Plays the record from its first frame to its last; `take` gets each of the client's frames as it
// is recorded, and the bytes that the session has sent in its place.
void play(Json& record, const std::function<void(Json& frame, const Data& sent)>& take) {
  prepareHost(record);
  InProcessSession session(record["tool"].get<std::string>());
  std::size_t taken = 0;
  for (auto& frame : record["frames"]) {
    if (frame["from"] == "server") {
      session.serverSends(fromLines(frame["bytes"]));
      continue;
    }
    if (frame["type"] == "Forward") {
      session.hostSends(fromLines(frame["clear"]));
      session.timePasses();
    }
    const Data sent = firstFrame(std::string_view(session.toServer()).substr(taken));
    taken += sent.size();
    take(frame, sent);
  }
  EXPECT_EQ(taken, session.toServer().size()) << "more was sent than is recorded";
  EXPECT_EQ(session.status(), 0) << session.log();
}

void expectSecret(const Json& record, const std::string& name, const Json& handshake) {
  const auto bytes = Utilities::decodedDataWithString(handshake[name].get<std::string>());
  ASSERT_TRUE(bytes) << name;
  const auto key = record["privateKey"].get<std::string>();
  const auto plain = CryptoUtilities::decryptData(*bytes, RSAPrivateKeyText{key});
  ASSERT_TRUE(plain) << name;
  EXPECT_EQ(hex(*plain), record["secrets"][name].get<std::string>()) << name;
}

void expectClientHandshake(const Json& record, const Data& recorded, const Data& sent) {
  auto expected = Json::parse(textOf(bodyOf(recorded)));
  ASSERT_EQ(expected.dump(), textOf(bodyOf(recorded)));
  const auto handshake = Json::parse(textOf(bodyOf(sent)));
  for (const auto& said : {expected, handshake}) {
    expectSecret(record, "symmetricKey", said);
    expectSecret(record, "salt", said);
  }
  for (const char* differing : {"systemVersion", "symmetricKey", "salt"}) {
    ASSERT_TRUE(handshake.contains(differing)) << differing;
    expected[differing] = handshake[differing];
  }
  EXPECT_EQ(textOf(sent), textOf(frame('c', expected.dump())));
}

void expectFrame(const Json& record, const Json& frame, const Data& sent) {
  SCOPED_TRACE(frame["type"].get<std::string>());
  const Data recorded = fromLines(frame["bytes"]);
  if (frame["type"] == "ClientHandshake") return expectClientHandshake(record, recorded, sent);
  if (frame["type"] != "InputArchive") {
    EXPECT_EQ(hex(sent), hex(recorded));
    return;
  }
  const Data zip = decrypted(record, frame, recorded);
  EXPECT_EQ(hex(zip), hex(fromLines(frame["clear"])));
  EXPECT_EQ(sent.front(), 'i');
  EXPECT_EQ(filesIn(decrypted(record, frame, sent)), filesIn(zip));
}

TEST(RecordedConversation, IsWhatTheProgramSays) {
  Json record = readRecord();
  play(record, [&](const Json& frame, const Data& sent) { expectFrame(record, frame, sent); });
  const auto& secrets = FixedSecrets::current();
  EXPECT_EQ(hex(secrets.forwardingIV), record["secrets"]["forwardingIV"].get<std::string>());
  EXPECT_EQ(hex(secrets.inputArchiveIV), record["secrets"]["inputArchiveIV"].get<std::string>());
}

TEST(RecordedConversation, EndsWithWhatTheServerReturned) {
  Json record = readRecord();
  play(record, [](const Json& /*frame*/, const Data& /*sent*/) {});
  const auto& host = Surroundings::instance().host();
  EXPECT_EQ(contentOf(host / "result"), "Date,Amount\n");
  EXPECT_EQ(contentOf(host / "logs" / "tool.log"), "done\n");
}

// Writes what the session says now into the record. To be run by hand after the protocol has
// changed: --gtest_also_run_disabled_tests --gtest_filter=*IsRecordedAnew
TEST(RecordedConversation, DISABLED_IsRecordedAnew) {
  Json record = readRecord();
  play(record, [&](Json& frame, const Data& sent) {
    frame["bytes"] = linesOf(sent);
    if (frame.contains("iv")) frame["clear"] = linesOf(decrypted(record, frame, sent));
  });
  write(recordPath, record.dump(2) + "\n");
}

}  // namespace
}  // namespace ztp::test
