// A connection through real pipes to a script in the place of ssh.
#include "app/ServerConnection.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/SessionFailure.h"
#include "platform/BlockingWait.h"
#include "platform/Error.h"
#include "platform/RunLoop.h"
#include "tests/support/Interrupter.h"
#include "tests/support/ScratchDirectory.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;
using Type = ZanburyToolProxyMessageType;

// Keeps what it hears.
class Listener : public ServerConnectionDelegate {
 public:
  [[nodiscard]] bool keepsBodyOfType(Type /*type*/) const override { return keepsBodies; }
  void messageDidConsumeBytes(const MessageReader& message) override {
    progress = message.bodyBytesConsumed;
  }
  bool handleMessage(ZanburyToolProxyMessage& message) override {
    bodies.emplace_back(textOf(viewOf(message.bodyData)));
    if (onMessage) onMessage();
    return goesOn;
  }
  void serverStreamDidEnd() override {
    hasEnded = true;
    if (onEnd) onEnd();
  }

  bool keepsBodies = true;
  bool goesOn = true;
  bool hasEnded = false;
  std::uint64_t progress = 0;
  std::vector<std::string> bodies;
  std::function<void()> onMessage;
  std::function<void()> onEnd;
};

class ServerConnectionTest : public testing::Test {
 protected:
  ServerConnectionTest() {
    ::signal(SIGPIPE, SIG_IGN);  // as in the program
    fs::create_directory(work);
    connection.emplace(work, ServerDestination{"user", "host.example", "22"}, listener);
  }

  // Starts a shell script as ssh; "$HERE" is the test's directory.
  void launch(const std::string& script) {
    const fs::path ssh =
        scratch.write("ssh", "#!/bin/sh\nHERE='" + scratch.path().string() + "'\n" + script + "\n");
    fs::permissions(ssh, fs::perms::owner_all);
    connection->launch("/opt/zanbury/server", ssh);
  }
  void turnUntil(const std::function<bool()>& isSo) {
    while (!isSo()) RunLoop::main().runOnce();
  }
  std::string fileOf(const std::string& name) {
    while (!fs::exists(scratch / name)) std::this_thread::yield();
    return contentOf(scratch / name);
  }

  ScratchDirectory scratch;
  fs::path work = scratch / "work";
  Listener listener;
  std::optional<ServerConnection> connection;
};

std::string reasonOf(const std::function<void()>& step) {
  try {
    step();
  } catch (const SessionFailure& failure) {
    return failure.reason.value_or("") + (failure.error ? ": " + failure.error->description : "");
  }
  return "none";
}

TEST_F(ServerConnectionTest, KeepsTheIdentityForItsOwnerOnlyAndRemovesIt) {
  connection->writeIdentity(SecretText("private"));
  EXPECT_EQ(contentOf(work / "identity"), "private");
  EXPECT_EQ(fs::status(work / "identity").permissions(), fs::perms(0600));
  connection->removeIdentity();
  EXPECT_FALSE(fs::exists(work / "identity"));
  connection->removeIdentity();
}

TEST_F(ServerConnectionTest, FollowsNoLinkWhereTheIdentityGoes) {
  fs::create_symlink(scratch / "elsewhere", work / "identity");
  connection->writeIdentity(SecretText("private"));
  EXPECT_FALSE(fs::exists(scratch / "elsewhere"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(work / "identity")));
}

TEST_F(ServerConnectionTest, SaysWhyThereIsNoIdentity) {
  const std::string reason = "Could not write identity to a file: ";
  EXPECT_EQ(reasonOf([&] { connection->writeIdentity(std::nullopt); }),
            reason + "EXPORT_SERVER_IDENTITY is not set");
  const fs::path none;
  ServerConnection homeless(none, {"user", "host", "22"}, listener);
  EXPECT_EQ(reasonOf([&] { homeless.writeIdentity(SecretText("private")); }),
            reason + "There is no working directory");
}

TEST_F(ServerConnectionTest, GivesSshItsArgumentsAndNoEnvironment) {
  connection->writeIdentity(SecretText("private"));
  connection->writeConfiguration();
  launch("printf '%s\\n' \"$@\" >$HERE/arguments; /usr/bin/env >$HERE/environment; : >$HERE/done");
  static_cast<void>(fileOf("done"));
  EXPECT_EQ(fileOf("arguments"),
            "-F\n" + (work / "config").string() +
                "\n-o\nServerAliveInterval=5\n-o\nServerAliveCountMax=3\n-o\nTCPKeepAlive=yes\n-o\n"
                "Compression=yes\n-o\nStrictHostKeyChecking=no\n-i\n" +
                (work / "identity").string() +
                "\n-l\nuser\n-p\n22\nhost.example\n/opt/zanbury/server\nserver\n");
  EXPECT_EQ(contentOf(work / "config"), "");
  // Three that the shell itself sets.
  for (const auto* name : {"HOME=", "PATH=", "SSH_AUTH_SOCK="}) {
    EXPECT_EQ(("\n" + fileOf("environment")).find(std::string("\n") + name), std::string::npos);
  }
}

TEST_F(ServerConnectionTest, NeedsACommandAndAProgram) {
  try {
    connection->launch(std::nullopt);
    ADD_FAILURE() << "it was launched";
  } catch (const PlatformException& exception) {
    EXPECT_STREQ(exception.what(), "EXPORT_SERVER_COMMAND_PATH is not set");
  }
  EXPECT_THROW(connection->launch("server", scratch / "missing"), PlatformException);
}

TEST_F(ServerConnectionTest, CutsTheStreamIntoMessagesAndTakesTheIdentityAtTheFirst) {
  connection->writeIdentity(SecretText("private"));
  listener.onMessage = [&] { EXPECT_FALSE(fs::exists(work / "identity")); };
  launch("printf 'h2\\n{}f3\\nabcI0\\nf10'; read line; printf '\\n0123456789'");
  turnUntil([&] { return listener.bodies.size() == 3; });
  EXPECT_EQ(listener.bodies, (std::vector<std::string>{"{}", "abc", ""}));
  connection->sendMessageWithType(Type::InputArchive);
  turnUntil([&] { return listener.hasEnded; });
  EXPECT_EQ(listener.bodies.back(), "0123456789");
  EXPECT_EQ(listener.progress, 10U);
}

TEST_F(ServerConnectionTest, DropsBodiesThatNobodyKeeps) {
  listener.keepsBodies = false;
  launch("printf 'f5\\nabcde'");
  turnUntil([&] { return listener.hasEnded; });
  EXPECT_EQ(listener.bodies, std::vector<std::string>{""});
}

TEST_F(ServerConnectionTest, RefusesWhatIsNoFrameOrTooLong) {
  const std::pair<const char*, const char*> cases[] = {
      {"printf 'X5\\n'", "Invalid message received"},
      {"printf 'h100001\\n'", "Message is too big"},
      {"printf 'f10000001\\n'", "Message is too big"},
  };
  for (const auto& [script, reason] : cases) {
    connection.emplace(work, ServerDestination{"user", "host", "22"}, listener);
    launch(script);
    EXPECT_EQ(reasonOf([] { RunLoop::main().run(); }), reason) << script;
  }
}

TEST_F(ServerConnectionTest, LimitsControlMessagesAndForwardedOnes) {
  const std::pair<Type, std::uint64_t> cases[] = {{Type::None, 100'000},
                                                  {Type::Error, 100'000},
                                                  {Type::ServerHello, 100'000},
                                                  {Type::ClientHandshake, 100'000},
                                                  {Type::ServerHandshake, 100'000},
                                                  {Type::InputArchive, 0},
                                                  {Type::InputArchiveAcknowledgement, 0},
                                                  {Type::ServerWillStartForwarding, 0},
                                                  {Type::Forward, 10'000'000},
                                                  {Type::ServerDidStopForwarding, 0},
                                                  {Type::OutputArchive, 0},
                                                  {Type::OutputArchiveAcknowledgement, 0},
                                                  {static_cast<Type>(12), 0},
                                                  {static_cast<Type>(255), 0}};
  for (const auto& [type, limit] : cases) {
    EXPECT_EQ(ServerConnection::maxLengthForType(type), limit) << static_cast<int>(type);
  }
}

TEST_F(ServerConnectionTest, CanBeReplacedFromWithinWhatItTells) {
  listener.goesOn = false;
  listener.onMessage = [&] {
    listener.onMessage = nullptr;
    connection.emplace(work, ServerDestination{"user", "next", "22"}, listener);
    launch("printf 'f6\\nsecond'");
  };
  launch("printf 'f5\\nfirstf5\\nnever'; read line");
  turnUntil([&] { return listener.bodies.size() == 2; });
  EXPECT_EQ(listener.bodies, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(connection->destination().host, "next");
}

TEST_F(ServerConnectionTest, CanGoWhenTheStreamEnds) {
  listener.onEnd = [&] { connection.reset(); };
  launch("exit 0");
  RunLoop::main().run();
  EXPECT_TRUE(listener.hasEnded);
  EXPECT_FALSE(connection);
}

TEST_F(ServerConnectionTest, WritesMessagesAsFrames) {
  launch("/bin/cat >$HERE/stream; : >$HERE/done");
  connection->sendMessageWithType(Type::OutputArchiveAcknowledgement);
  connection->sendMessageWithType(Type::Forward, copyOf(bytesOf("body")));
  connection->sendMessageWithType(Type::Error, Dictionary{{"reason", "why"}});
  connection->sendMessageWithType(Type::Forward, scratch.write("file", "content"));
  connection->endStreamToServer();
  connection->sendMessageWithType(Type::Forward, copyOf(bytesOf("too late")));
  static_cast<void>(fileOf("done"));
  EXPECT_EQ(fileOf("stream"), "O0\nf4\nbody!16\n{\"reason\":\"why\"}f7\ncontent");
}

TEST_F(ServerConnectionTest, SaysThatAMessageCannotBeWritten) {
  launch("exec <&-; printf 'h0\\n'; read line");
  turnUntil([&] { return !listener.bodies.empty(); });
  EXPECT_EQ(reasonOf([&] { connection->sendMessageWithType(Type::Forward); }),
            "Could not write message");
}

TEST_F(ServerConnectionTest, WritesNothingBehindAMessageThatWasInterrupted) {
  launch("while [ ! -e $HERE/go ]; do :; done; /bin/cat >$HERE/stream; : >$HERE/done");
  {
    const Interrupter interrupter([] { throw Interruption{}; });
    EXPECT_THROW(connection->sendMessageWithType(Type::Forward, Data(2'000'000, std::uint8_t{'x'})),
                 Interruption);
  }
  connection->endInterruptedStream();
  connection->sendMessageWithType(Type::Error, Dictionary{{"reason", "why"}});
  scratch.write("go", "");
  static_cast<void>(fileOf("done"));
  const std::string stream = fileOf("stream");
  EXPECT_EQ(stream.substr(0, 9), "f2000000\n");
  EXPECT_EQ(stream.find_first_not_of('x', 9), std::string::npos);
}

TEST_F(ServerConnectionTest, KeepsAStreamThatWasNotInterrupted) {
  launch("/bin/cat >$HERE/stream; : >$HERE/done");
  connection->sendMessageWithType(Type::Forward);
  connection->endInterruptedStream();
  connection->sendMessageWithType(Type::Error);
  connection->endStreamToServer();
  static_cast<void>(fileOf("done"));
  EXPECT_EQ(fileOf("stream"), "f0\n!0\n");
}

TEST_F(ServerConnectionTest, TellsSshToEndWhenItGoes) {
  launch("trap ': >$HERE/terminated; exit 0' TERM; printf 'h0\\n'; while :; do :; done");
  turnUntil([&] { return !listener.bodies.empty(); });
  connection.reset();
  EXPECT_EQ(fileOf("terminated"), "");
}

TEST_F(ServerConnectionTest, WaitsForTheLastMessageUntilItIsTaken) {
  launch(
      "printf 'h0\\n'; while [ ! -e $HERE/go ]; do :; done; read line; : >$HERE/taken; read line");
  turnUntil([&] { return !listener.bodies.empty(); });
  connection->sendMessageWithType(Type::OutputArchiveAcknowledgement);
  std::thread opener([&] { scratch.write("go", ""); });
  BlockingWait::setDeadline(BlockingWait::Clock::now() + std::chrono::seconds(60));
  connection->drainLastMessage();
  BlockingWait::setDeadline(std::nullopt);
  opener.join();
  EXPECT_EQ(fileOf("taken"), "");
}

}  // namespace
}  // namespace ztp::test
