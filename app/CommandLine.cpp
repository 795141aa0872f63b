// The answers for people.
#include "app/CommandLine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/Error.h"
#include "platform/Log.h"
#include "platform/System.h"

namespace ztp {
namespace {

constexpr std::string_view version = "ZanburyToolProxy " ZTP_VERSION "\n";

constexpr std::string_view help =
    "Usage: ZanburyToolProxy [--help | --version]\n"
    "\n"
    "Converts a file with a tool on Zanbury Cloud. A host application starts this\n"
    "program and passes everything in environment variables whose names begin with\n"
    "EXPORT_: ZanburyToolProxy(1) lists them. To convert a file from a shell, use\n"
    "zanbury-convert(1).\n"
    "\n"
    "  --help     print this text and exit\n"
    "  --version  print the version and exit\n"
    "\n"
    "Exit status: that of the conversion tool, 1 after an error.\n";

constexpr std::string_view startedByHand =
    "ZanburyToolProxy is started by a host application, which sets EXPORT_ variables: see "
    "ZanburyToolProxy(1), or try --help";

bool isStartedByHost() {
  constexpr std::string_view prefix = "EXPORT_";
  char** variable = system::environment();
  for (; variable != nullptr && *variable != nullptr; ++variable) {
    if (std::string_view(*variable).starts_with(prefix)) return true;
  }
  return false;
}

void print(std::string_view text) {
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!isWritten || std::fflush(stdout) != 0) {
    throw PlatformException(Error::fromErrno("write"));
  }
}

}  // namespace

CommandLine::CommandLine(int argumentCount, char** arguments)
    : arguments_(arguments, static_cast<std::size_t>(std::max(argumentCount, 0))) {
  if (!arguments_.empty()) arguments_ = arguments_.subspan(1);
}

bool CommandLine::holds(std::string_view wanted) const {
  return std::any_of(arguments_.begin(), arguments_.end(),
                     [wanted](const char* argument) { return argument == wanted; });
}

bool CommandLine::asksForServerRole() const {
  return holds("server");
}

bool CommandLine::answers() const {
  if (isStartedByHost()) return false;
  if (arguments_.empty()) logLine(startedByHand);
  if (holds("--help")) {
    print(help);
    return true;
  }
  if (!holds("--version")) return false;
  print(version);
  return true;
}

}  // namespace ztp
