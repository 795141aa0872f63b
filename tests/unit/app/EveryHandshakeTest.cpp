// A ServerHandshake with every member missing, of every wrong type, twice, or beyond all bounds,
// and redirects that try to reach ssh as something else than a destination.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tests/inprocess/InProcessSession.h"
#include "tests/inprocess/Surroundings.h"
#include "util/ZanburyToolProxyUtilities.h"

namespace ztp::test {
namespace {

constexpr std::string_view goesOn = "(goes on)";

std::string text(DataView bytes) {
  const auto base64 = ZanburyToolProxyUtilities::stringWithEncodedData(bytes);
  return '"' + std::string(base64) + '"';
}

// The members of a right answer, each of which can be replaced or, with "", left out.
struct Members {
  std::string saltIV = text(FixedSecrets::current().forwardingIV);
  std::string salt = text(encrypted(FixedSecrets::current().salt));
  std::string redirectDestinationsIV;
  std::string redirectDestinations;
  std::string outputArchiveIV = text(FixedSecrets::current().forwardingIV);
  std::string maxInputArchiveSize = "0";

  std::string& named(std::string_view name) {
    if (name == "saltIV") return saltIV;
    if (name == "salt") return salt;
    if (name == "redirectDestinationsIV") return redirectDestinationsIV;
    if (name == "redirectDestinations") return redirectDestinations;
    if (name == "outputArchiveIV") return outputArchiveIV;
    return maxInputArchiveSize;
  }

  [[nodiscard]] std::string json() {
    std::string result = "{";
    for (const char* name : {"saltIV", "salt", "redirectDestinationsIV", "redirectDestinations",
                             "outputArchiveIV", "maxInputArchiveSize"}) {
      if (named(name).empty()) continue;
      if (result.size() > 1) result += ',';
      result += '"' + std::string(name) + "\":" + named(name);
    }
    return result + "}";
  }
};

// What a session that was greeted logs for this answer, or that it goes on to the upload.
// Without the line that tells both sizes: how large the archive is depends on the archiver.
std::string withoutSizes(std::string log) {
  if (log.starts_with("ERROR: The input archive has ")) log.erase(0, log.find('\n') + 1);
  return log;
}

std::string outcomeOf(InProcessSession& session, std::string_view body) {
  session.serverSends(frame('s', body));
  if (session.status()) {
    EXPECT_EQ(session.status(), 1);
    EXPECT_EQ(Surroundings::instance().leftovers(), "");
    EXPECT_EQ(session.toServer().find("\ni"), std::string::npos) << "the upload has begun";
    return withoutSizes(session.log());
  }
  return session.log() + std::string(goesOn);
}

struct Case {
  std::string_view member;
  std::string_view value;
  std::string_view outcome;
};

constexpr std::string_view noSalt = "AES decryption: wrong final block length\nInvalid salt\n";
constexpr std::string_view noVector =
    "initialization vector: 8 bytes instead of 16\nInvalid salt\n";

const Case cases[] = {
    {"saltIV", "null", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "true", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "0", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "-1", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "1.5", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "[]", "Exception: The value of saltIV is not a string\n"},
    {"saltIV", "{}", "Exception: The value of saltIV is not a string\n"},
    {"salt", "", noSalt},
    {"salt", "\"\"", noSalt},
    {"salt", "null", "Exception: The value of salt is not a string\n"},
    {"salt", "false", "Exception: The value of salt is not a string\n"},
    {"salt", "0", "Exception: The value of salt is not a string\n"},
    {"salt", "1e3", "Exception: The value of salt is not a string\n"},
    {"salt", "[\"x\"]", "Exception: The value of salt is not a string\n"},
    {"salt", "{\"salt\":\"x\"}", "Exception: The value of salt is not a string\n"},
    {"redirectDestinations", "null",
     "Exception: The value of redirectDestinations is not a string\n"},
    {"redirectDestinations", "true",
     "Exception: The value of redirectDestinations is not a string\n"},
    {"redirectDestinations", "7", "Exception: The value of redirectDestinations is not a string\n"},
    {"redirectDestinations", "[]",
     "Exception: The value of redirectDestinations is not a string\n"},
    {"redirectDestinations", "{}",
     "Exception: The value of redirectDestinations is not a string\n"},
    {"redirectDestinations", "\"AAAA\"", goesOn},  // without its IV there is no redirect
    {"redirectDestinationsIV", "null",
     "Exception: The value of redirectDestinationsIV is not a string\n"},
    {"redirectDestinationsIV", "{}",
     "Exception: The value of redirectDestinationsIV is not a string\n"},
    {"redirectDestinationsIV", "\"AAAAAAAAAAAAAAAAAAAAAA==\"", goesOn},
    {"outputArchiveIV", "", goesOn},
    {"outputArchiveIV", "\"\"", goesOn},
    {"outputArchiveIV", "null", "Exception: The value of outputArchiveIV is not a string\n"},
    {"outputArchiveIV", "false", "Exception: The value of outputArchiveIV is not a string\n"},
    {"outputArchiveIV", "16", "Exception: The value of outputArchiveIV is not a string\n"},
    {"outputArchiveIV", "[]", "Exception: The value of outputArchiveIV is not a string\n"},
    {"outputArchiveIV", "{}", "Exception: The value of outputArchiveIV is not a string\n"},
    {"maxInputArchiveSize", "", goesOn},
    {"maxInputArchiveSize", "null",
     "Exception: The value of maxInputArchiveSize is not an integer\n"},
    {"maxInputArchiveSize", "[]",
     "Exception: The value of maxInputArchiveSize is not an integer\n"},
    {"maxInputArchiveSize", "{}",
     "Exception: The value of maxInputArchiveSize is not an integer\n"},
    {"maxInputArchiveSize", "true", "Input archive is too big\n"},
    {"maxInputArchiveSize", "1", "Input archive is too big\n"},
    {"maxInputArchiveSize", "\"1\"", "Input archive is too big\n"},
    {"maxInputArchiveSize", "9223372036854775807", goesOn},
    {"maxInputArchiveSize", "9223372036854775808", goesOn},
    {"maxInputArchiveSize", "18446744073709551615", goesOn},
    {"maxInputArchiveSize", "18446744073709551616", goesOn},
    {"maxInputArchiveSize", "-9223372036854775808", goesOn},
    {"maxInputArchiveSize", "-9223372036854775809", goesOn},
    {"maxInputArchiveSize", "1e308", goesOn},
    {"maxInputArchiveSize", "-1e308", goesOn},
    {"maxInputArchiveSize", "1e999", "JSON: a number is out of range\nInvalid salt\n"},
    {"maxInputArchiveSize", "\"99999999999999999999999\"", goesOn},
};

TEST(EveryHandshake, TakesOrRefusesEachMemberForItself) {
  for (const auto& example : cases) {
    SCOPED_TRACE(std::string(example.member) + " " + std::string(example.value));
    InProcessSession session;
    session.serverSends("h0\n");
    Members members;
    members.named(example.member) = example.value;
    EXPECT_EQ(outcomeOf(session, members.json()), example.outcome);
  }
}

TEST(EveryHandshake, IsDecidedByTheLastOfTwoMembersOfOneName) {
  struct Doubled {
    std::string_view behind;
    std::string_view outcome;
  };
  const Doubled doubled[] = {
      {R"(,"salt":"AAAA"})", noSalt},
      {R"(,"salt":5})", "Exception: The value of salt is not a string\n"},
      {R"(,"saltIV":"AAAAAAAAAAA="})", noVector},
      {R"(,"maxInputArchiveSize":1})", "Input archive is too big\n"},
      {R"(,"maxInputArchiveSize":1,"maxInputArchiveSize":0})", goesOn},
      {R"(,"unused":1,"unused":[]})", goesOn},
  };
  for (const auto& example : doubled) {
    SCOPED_TRACE(example.behind);
    InProcessSession session;
    session.serverSends("h0\n");
    std::string body = Members{}.json();
    body.pop_back();
    EXPECT_EQ(outcomeOf(session, body + std::string(example.behind)), example.outcome);
  }
}

TEST(EveryHandshake, ThatIsNoTextOfItsFormIsRefused) {
  const std::string deep(64, '[');
  const std::string deeper(100'000 - 1000, '[');
  struct Broken {
    std::string behind;
    std::string_view outcome;
  };
  const Broken broken[] = {
      {",\"x\":\"\xff\"}", "JSON: not valid at byte 186\nInvalid salt\n"},
      {",\"x\":\"\xc0\xaf\"}", "JSON: not valid at byte 186\nInvalid salt\n"},
      {",\"\xed\xa0\x80\":1}", "JSON: not valid at byte 183\nInvalid salt\n"},
      {R"(,"x":"\ud800"})", "JSON: not valid at byte 192\nInvalid salt\n"},
      {",\"x\":" + deep, "JSON: nested deeper than 64 levels\nInvalid salt\n"},
      {",\"x\":" + deeper, "JSON: nested deeper than 64 levels\nInvalid salt\n"},
      {",\"x\":NaN}", "JSON: not valid at byte 185\nInvalid salt\n"},
      {",}", "JSON: not valid at byte 181\nInvalid salt\n"},
      {"", "JSON: not valid at byte 180\nInvalid salt\n"},
  };
  for (const auto& example : broken) {
    SCOPED_TRACE(example.behind.substr(0, 20));
    InProcessSession session;
    session.serverSends("h0\n");
    std::string body = Members{}.json();
    body.pop_back();
    EXPECT_EQ(outcomeOf(session, body + example.behind), example.outcome);
  }
}

const std::string_view harmfulDestinations[] = {
    "-oProxyCommand=touch /tmp/x",
    "ssh://-oProxyCommand=x@server.example",
    "ssh://user@-oProxyCommand=x",
    "ssh://user@-server.example:22",
    "ssh://%2doProxyCommand=x@server.example",
    "ssh://user@%2Doption",
    "ssh://us%0aer@server.example",
    "ssh://us%00er@server.example",
    "ssh://user@ser%2fver",
    "ssh://user@server.example:22 -oProxyCommand=x",
    "ssh://user@server.example:-1",
    "ssh://user@server.example:2x",
    "ssh://user@",
    "ssh://@server.example",
    "ssh://user@[::1",
    "file:///etc/passwd",
    "server.example",
    "$(touch x)",
    "ssh://user@server.example\nssh://user@other",
    "ssh://user@serv\u202eer",
};

// The destinations that the session asked ssh to go to behind its first one.
std::string redirected(InProcessSession& session, std::string_view destinations) {
  session.serverSends("h0\n");
  Members members;
  members.redirectDestinationsIV = text(FixedSecrets::current().forwardingIV);
  members.redirectDestinations = text(encrypted(bytesOf(destinations)));
  session.serverSends(frame('s', members.json()));
  std::string result;
  for (std::size_t i = 1; i < session.connections().size(); ++i) {
    const auto& arguments = session.connections()[i];
    result += arguments[15] + "@" + arguments[18] + ":" + arguments[17] + " ";
  }
  return result;
}

TEST(EveryRedirect, ToADestinationThatWouldHarmEndsTheSessionBeforeSshStarts) {
  for (const auto destination : harmfulDestinations) {
    SCOPED_TRACE(destination);
    InProcessSession session;
    EXPECT_EQ(redirected(session, destination), "");
    EXPECT_EQ(session.status(), 1);
    EXPECT_EQ(session.log(), "Invalid server destination\n");
    EXPECT_EQ(Surroundings::instance().leftovers(), "");
  }
}

TEST(EveryRedirect, IsFollowedAThousandTimes) {
  InProcessSession session;
  for (std::size_t redirects = 1; redirects <= 1000; ++redirects) {
    static_cast<void>(redirected(session, "ssh://other@second.example:22,ssh://third@left:1"));
    ASSERT_EQ(session.connections().size(), redirects + 1);
  }
  static_cast<void>(redirected(session, "ssh://other@second.example:22"));
  EXPECT_EQ(session.connections().size(), 1001U);
  EXPECT_EQ(session.status(), 1);
  EXPECT_EQ(session.log(), "Too many redirects\n");
  EXPECT_EQ(Surroundings::instance().leftovers(), "");
}

// The keys of the handshake before are still good, so a server may answer with its own at once.
TEST(EveryRedirect, ToAServerThatSkipsTheHelloLeavesNoIdentity) {
  InProcessSession session;
  static_cast<void>(redirected(session, "ssh://other@second.example:22"));
  const auto& surroundings = Surroundings::instance();
  std::string name = surroundings.leftovers();
  name.pop_back();
  const auto identity = surroundings.host().parent_path() / "tmp" / name / "identity";
  EXPECT_TRUE(std::filesystem::exists(identity));
  session.serverSends(serverHandshake());
  EXPECT_EQ(session.status(), std::nullopt);
  EXPECT_NE(session.toHost().find("Uploading"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(identity));
}

TEST(EveryRedirect, ToAGoodDestinationIsFollowed) {
  InProcessSession session;
  EXPECT_EQ(redirected(session, " ssh://other@second.example:2222 ,,-x"),
            "other@second.example:2222 ");
  EXPECT_EQ(session.status(), std::nullopt);
}

}  // namespace
}  // namespace ztp::test
