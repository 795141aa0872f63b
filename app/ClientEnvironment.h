// What the host passes in the environment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Data.h"

namespace ztp {

/// The values of the EXPORT_ variables, as they stand there; absent, or 0, for a variable that is
/// not set. The identity's text in the environment of the process is wiped when this object goes.
class ClientEnvironment {
 public:
  ClientEnvironment() = default;
  ClientEnvironment(const ClientEnvironment&) = delete;
  ClientEnvironment& operator=(const ClientEnvironment&) = delete;
  ~ClientEnvironment();

  /// Reads all of them, in place of what was read before.
  void readClientEnvironment();
  /// True for the tool whose input FIFO is polled and whose forwarded bytes are flushed.
  [[nodiscard]] bool isConverterTool() const;

  std::optional<std::string> sourceFilePath;
  std::optional<std::string> destFilePath;
  std::optional<std::string> logsDirPath;
  std::optional<std::string> inputFifoPath;
  std::optional<std::string> outputFifoPath;
  std::optional<std::string> toolName;
  std::optional<std::string> toolVersion;
  std::optional<std::string> serverCommandPath;
  std::optional<SecretText> serverIdentity;
  std::optional<std::string> hostPath;
  std::int64_t hostPid = 0;
  std::optional<std::string> clientId;
  std::optional<std::string> macAddress;
  std::optional<std::string> userId;
  std::optional<std::string> userName;
  std::optional<std::string> publicKey;
  std::int64_t retryDelay = 0;  // seconds
  /// In an order that is drawn anew at each reading; neither trimmed nor looked at.
  std::vector<std::string> serverDestinations;
  /// Where the record for machines goes.
  std::optional<std::string> eventsPath;
  bool isDebugging = false;
};

}  // namespace ztp
