// Stands in for platform/ChildProcess.cpp: ssh is the test itself, the archiver runs within the
// process, and no other program may be started.
#include "platform/ChildProcess.h"

#include <cstdlib>
#include <utility>
#include <variant>

#include "archiver/ArchiveError.h"
#include "archiver/CommandLine.h"
#include "archiver/ZipExtractor.h"
#include "archiver/ZipWriter.h"
#include "platform/Log.h"
#include "tests/inprocess/ServerPeer.h"

namespace ztp {
namespace {

// Enough for a test, and no more disk than that for a fuzzer.
constexpr std::uint64_t expandedBytes = 1U << 20U;

struct Runner {
  void operator()(const archiver::PackCommand& command) const {
    archiver::createZip(command.directory, command.zip);
  }
  void operator()(const archiver::ExtractCommand& command) const {
    archiver::ExtractionLimits limits;
    limits.expandedBytes = expandedBytes;
    archiver::extractZip(command.zip, command.destination, limits);
  }
  void operator()(const archiver::HelpCommand& /*command*/) const { std::abort(); }
  void operator()(const archiver::UnknownCommand& /*command*/) const { std::abort(); }
};

void runArchiver(const std::vector<std::string>& arguments) {
  const std::vector<std::string_view> words(arguments.begin(), arguments.end());
  try {
    std::visit(Runner{}, archiver::parseArguments(words));
  } catch (const archiver::ArchiveError& error) {
    log("ZanburyArchiver: {}", error.what());
  }
}

}  // namespace

ChildProcess ChildProcess::launch(const Command& command, const Streams& streams) {
  if (command.launchPath == "/usr/bin/ssh") {
    test::ServerPeer::connect(command.arguments, streams.standardInput, streams.standardOutput);
  } else if (command.launchPath.filename() == "ZanburyArchiver") {
    runArchiver(command.arguments);
  } else {
    std::abort();
  }
  return ChildProcess(-1);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  pid_ = std::exchange(other.pid_, -1);
  return *this;
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::forget() noexcept {}

void ChildProcess::terminate() noexcept {}

void ChildProcess::waitUntilExit() {}

void ChildProcess::reapForgotten() noexcept {}

}  // namespace ztp
