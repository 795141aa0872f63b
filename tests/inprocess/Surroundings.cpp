// The folders, and the environment that names them.
#include "tests/inprocess/Surroundings.h"

#include <cstdlib>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/Signals.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

fs::path newRoot() {
  std::string name = fs::exists("/dev/shm") ? "/dev/shm" : "/tmp";
  name += "/session.XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) std::abort();
  return name;
}

void set(const char* name, std::string_view value) {
  ::setenv(name, std::string(value).c_str(), 1);
}

}  // namespace

const std::string_view publicKeyOfTheTests =
    "MIGfMA0GCSqGSIb3DQEBAQUAA4GNADCBiQKBgQDW8xhirtYzZHPw3hS8oi4nW/Kb\n"
    "HO3tipPf3IvO1FiyeVvo2PmVwmb23qYmFhfWMj6yU0Bt1xd48ST3L29Fu4i5Q3mX\n"
    "b4Gg3mCwiYBjwkcQKllfZ3hTPNWEiOaWhYx8pA8Vk7IaGMUteWedGVQD9Z6/yuEe\n"
    "n8ITse2REJo9CxW4NwIDAQAB\n";

Surroundings& Surroundings::instance() {
  static Surroundings surroundings;
  return surroundings;
}

Surroundings::Surroundings() : root_(newRoot()), temporary_(root_ / "tmp"), host_(root_ / "host") {
  Signals::catchTermination();
  fs::create_directory(temporary_);
  fs::create_directory(host_);
  std::ofstream(host_ / "statement.ofx") << sourceText;
  ::mkfifo((host_ / "in").c_str(), 0600);
  ::mkfifo((host_ / "out").c_str(), 0600);
  set("TMPDIR", temporary_.string());
  set("EXPORT_FILE_PATH", (host_ / "statement.ofx").string());
  set("EXPORT_DEST_PATH", (host_ / "result").string());
  set("EXPORT_LOGS_DIR_PATH", (host_ / "logs").string());
  set("EXPORT_INPUT_FIFO_PATH", (host_ / "in").string());
  set("EXPORT_OUTPUT_FIFO_PATH", (host_ / "out").string());
  set("EXPORT_TOOL_VERSION", "2.1");
  set("EXPORT_SERVER_DESTINATIONS", destinationText);
  set("EXPORT_SERVER_COMMAND_PATH", "/opt/server");
  set("EXPORT_HOST_PID", std::to_string(::getpid()));
  set("EXPORT_PUBLIC_KEY", publicKeyOfTheTests);
  set("EXPORT_RETRY_DELAY", "0");
}

Surroundings::~Surroundings() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::string Surroundings::leftovers() const {
  std::string names;
  for (const auto& entry : fs::directory_iterator(temporary_)) {
    names += entry.path().filename().string() + " ";
  }
  return names;
}

void Surroundings::prepare(std::string_view tool) {
  set("EXPORT_TOOL", tool);
  set("EXPORT_SERVER_IDENTITY", identityText);  // the session before has wiped it
  fs::remove_all(host_ / "result");
  fs::remove_all(host_ / "logs");
}

}  // namespace ztp::test
