// The other ends of the pipes and FIFOs of a session: the server behind ssh, and the host.
#pragma once

#include <string>
#include <vector>

#include "platform/Data.h"
#include "platform/FileHandle.h"

namespace ztp::test {

/// What the session holds the other ends of. One session at a time.
class ServerPeer {
 public:
  ServerPeer() = delete;

  /// An ssh has been started with these arguments and descriptors, which are duplicated.
  static void connect(const std::vector<std::string>& arguments, int standardInput,
                      int standardOutput);
  /// The host reads this FIFO.
  static void readFifo(int fileDescriptor);
  /// The end of the server's stream.
  static void closeStream();
  /// Lets go of everything.
  static void reset();

  /// As many of the bytes as there is room for; 0 without a connection.
  static std::size_t put(DataView bytes);
  /// Takes what the session has written to the server and to the host.
  static void takeAll();

  /// What was taken since `reset`.
  static const std::string& toServer();
  static const std::string& toHost();
  /// The argument lists of every ssh since `reset`.
  static const std::vector<std::vector<std::string>>& connections();
};

}  // namespace ztp::test
