// All descriptors here are non-blocking.
#include "tests/inprocess/ServerPeer.h"

#include <array>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace ztp::test {
namespace {

struct Ends {
  FileHandle fromSession{-1};
  FileHandle toSession{-1};
  FileHandle fifo{-1};
  std::string toServer;
  std::string toHost;
  std::vector<std::vector<std::string>> connections;
};

Ends ends;

// A description of its own, so that its flags are not the session's.
FileHandle reopened(int fileDescriptor, int flags) {
  const std::string path = "/proc/self/fd/" + std::to_string(fileDescriptor);
  return FileHandle(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC));
}

void take(const FileHandle& handle, std::string& text) {
  if (handle.fileDescriptor() == -1) return;
  std::array<char, 65'536> buffer;
  ssize_t count = 0;
  while ((count = ::read(handle.fileDescriptor(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace

void ServerPeer::connect(const std::vector<std::string>& arguments, int standardInput,
                         int standardOutput) {
  takeAll();
  ends.connections.push_back(arguments);
  ends.fromSession = reopened(standardInput, O_RDONLY);
  ends.toSession = reopened(standardOutput, O_WRONLY);
}

void ServerPeer::readFifo(int fileDescriptor) {
  ends.fifo = FileHandle(fileDescriptor);
}

void ServerPeer::closeStream() {
  ends.toSession.close();
}

void ServerPeer::reset() {
  takeAll();
  ends = Ends{};
}

std::size_t ServerPeer::put(DataView bytes) {
  if (ends.toSession.fileDescriptor() == -1) return 0;
  const ssize_t count = ::write(ends.toSession.fileDescriptor(), bytes.data(), bytes.size());
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void ServerPeer::takeAll() {
  take(ends.fromSession, ends.toServer);
  take(ends.fifo, ends.toHost);
}

const std::string& ServerPeer::toServer() {
  return ends.toServer;
}

const std::string& ServerPeer::toHost() {
  return ends.toHost;
}

const std::vector<std::vector<std::string>>& ServerPeer::connections() {
  return ends.connections;
}

}  // namespace ztp::test
