// What is read from the environment, and what is left in it.
#include "app/ClientEnvironment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>

namespace ztp::test {
namespace {

// A variable of this process for the life of the object.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) { ::setenv(name, value, 1); }
  ~Variable() { ::unsetenv(name_); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
};

struct TextCase {
  const char* variable;
  std::optional<std::string> ClientEnvironment::*value;
};

constexpr TextCase texts[] = {
    {"EXPORT_FILE_PATH", &ClientEnvironment::sourceFilePath},
    {"EXPORT_DEST_PATH", &ClientEnvironment::destFilePath},
    {"EXPORT_LOGS_DIR_PATH", &ClientEnvironment::logsDirPath},
    {"EXPORT_INPUT_FIFO_PATH", &ClientEnvironment::inputFifoPath},
    {"EXPORT_OUTPUT_FIFO_PATH", &ClientEnvironment::outputFifoPath},
    {"EXPORT_TOOL", &ClientEnvironment::toolName},
    {"EXPORT_TOOL_VERSION", &ClientEnvironment::toolVersion},
    {"EXPORT_SERVER_COMMAND_PATH", &ClientEnvironment::serverCommandPath},
    {"EXPORT_HOST_PATH", &ClientEnvironment::hostPath},
    {"EXPORT_CLIENT_ID", &ClientEnvironment::clientId},
    {"EXPORT_MAC_ADDRESS", &ClientEnvironment::macAddress},
    {"EXPORT_USER_ID", &ClientEnvironment::userId},
    {"EXPORT_USER_NAME", &ClientEnvironment::userName},
    {"EXPORT_PUBLIC_KEY", &ClientEnvironment::publicKey},
    {"EXPORT_EVENTS_PATH", &ClientEnvironment::eventsPath},
};

TEST(ClientEnvironment, TakesTextsAsTheyStandAndForgetsThemWithTheirVariable) {
  ClientEnvironment environment;
  for (const auto& [name, value] : texts) {
    {
      const Variable variable(name, " text, as it stands ");
      environment.readClientEnvironment();
      EXPECT_EQ(environment.*value, " text, as it stands ") << name;
      for (const auto& other : texts) {
        EXPECT_EQ((environment.*other.value).has_value(), other.variable == std::string_view(name));
      }
    }
    environment.readClientEnvironment();
    EXPECT_EQ(environment.*value, std::nullopt) << name;
  }
}

struct NumberCase {
  const char* text;
  std::int64_t number;
};

constexpr NumberCase numbers[] = {{"5", 5},
                                  {"5s", 5},
                                  {" \t-7x", -7},
                                  {"+3", 3},
                                  {"x", 0},
                                  {"", 0},
                                  {"- 1", 0},
                                  {"0x10", 0},
                                  {"007", 7},
                                  {"1.9", 1},
                                  {"999999999999", 999'999'999'999}};

TEST(ClientEnvironment, ReadsTheLeadingDigitsOfNumbers) {
  ClientEnvironment environment;
  for (const auto& [text, number] : numbers) {
    const Variable delay("EXPORT_RETRY_DELAY", text);
    const Variable process("EXPORT_HOST_PID", text);
    environment.readClientEnvironment();
    EXPECT_EQ(environment.retryDelay, number) << text;
    EXPECT_EQ(environment.hostPid, number) << text;
  }
  environment.readClientEnvironment();
  EXPECT_EQ(environment.retryDelay, 0);
  EXPECT_EQ(environment.hostPid, 0);
}

TEST(ClientEnvironment, KnowsTheToolWhoseFifoIsPolled) {
  ClientEnvironment environment;
  EXPECT_FALSE(environment.isConverterTool());
  for (const auto* name : {"ZanburyConverter", "ZanburyConverter ", "zanburyconverter", ""}) {
    const Variable tool("EXPORT_TOOL", name);
    environment.readClientEnvironment();
    EXPECT_EQ(environment.isConverterTool(), std::string_view(name) == "ZanburyConverter") << name;
  }
}

TEST(ClientEnvironment, DebugsOnlyForOne) {
  ClientEnvironment environment;
  for (const auto* text : {"1", "0", "", "yes", "11"}) {
    const Variable debug("EXPORT_DEBUG", text);
    environment.readClientEnvironment();
    EXPECT_EQ(environment.isDebugging, std::string_view(text) == "1") << text;
  }
}

TEST(ClientEnvironment, HasNoDestinationsWithoutTheirVariable) {
  ClientEnvironment environment;
  environment.readClientEnvironment();
  EXPECT_TRUE(environment.serverDestinations.empty());
}

TEST(ClientEnvironment, DrawsEveryOrderOfTheDestinationsAboutAsOften) {
  const Variable list("EXPORT_SERVER_DESTINATIONS", "a, b,c");
  ClientEnvironment environment;
  std::map<std::vector<std::string>, int> orders;
  for (int reading = 0; reading < 6000; ++reading) {
    environment.readClientEnvironment();
    ++orders[environment.serverDestinations];
  }
  EXPECT_EQ(orders.size(), 6U);
  for (const auto& [order, count] : orders) {
    EXPECT_NEAR(count, 1000, 300) << order[0] << order[1] << order[2];  // ten deviations
    EXPECT_TRUE(std::ranges::is_permutation(order, std::vector<std::string>{"a", " b", "c"}));
  }
}

TEST(ClientEnvironment, LeavesNothingOfTheIdentityInTheEnvironment) {
  const Variable identity("EXPORT_SERVER_IDENTITY", "a private key");
  {
    ClientEnvironment environment;
    environment.readClientEnvironment();
    EXPECT_EQ(environment.serverIdentity, SecretText("a private key"));
    environment.readClientEnvironment();
    EXPECT_EQ(environment.serverIdentity, SecretText("a private key")) << "at the second reading";
  }
  const char* const text = std::getenv("EXPORT_SERVER_IDENTITY");
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::string_view(text, 13), std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0\0", 13));
}

}  // namespace
}  // namespace ztp::test
