// ZanburyArchiver: packs a directory into a zip archive, or unpacks one. The proxy starts it where
// the system has no archiver of its own.
//
// Exit status: 0 done, 1 failed (one line on standard error says why), 2 usage error.
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "archiver/CommandLine.h"
#include "archiver/ZipExtractor.h"
#include "archiver/ZipWriter.h"

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int usageError = 2;

void print(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

// Carries out one command and returns the exit status.
struct Runner {
  int operator()(const ztp::archiver::PackCommand& command) const {
    ztp::archiver::createZip(command.directory, command.zip);
    return done;
  }

  int operator()(const ztp::archiver::ExtractCommand& command) const {
    ztp::archiver::extractZip(command.zip, command.destination, {});
    return done;
  }

  int operator()(const ztp::archiver::HelpCommand& /*command*/) const {
    print(stdout, ztp::archiver::usage());
    return done;
  }

  int operator()(const ztp::archiver::UnknownCommand& /*command*/) const {
    print(stderr, ztp::archiver::usage());
    return usageError;
  }
};

}  // namespace

int main(int argc, char* argv[]) {
  // Beyond the limit of file sizes a write fails with a reason, and nothing unfinished is left.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    const std::span<char*> all(argv, static_cast<std::size_t>(argc));
    const std::vector<std::string_view> words(all.begin() + (all.empty() ? 0 : 1), all.end());
    return std::visit(Runner{}, ztp::archiver::parseArguments(words));
  } catch (const std::exception& error) {
    print(stderr, std::string("ZanburyArchiver: ") + error.what() + "\n");
    return failed;
  }
}
