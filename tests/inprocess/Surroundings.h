// Where the sessions of one process are at home: TMPDIR, and the host's files and FIFOs.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace ztp::test {

/// Made once for all sessions of a process, in memory where the system has such a place, and gone
/// when the process ends. Sets the EXPORT_ environment of a normal conversion.
class Surroundings {
 public:
  /// The only one.
  static Surroundings& instance();

  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  /// The names of what stands in TMPDIR.
  [[nodiscard]] std::string leftovers() const;
  /// The host's folder: "statement.ofx", "in", "out", and what the session delivers.
  [[nodiscard]] const std::filesystem::path& host() const { return host_; }
  /// Removes the results of the session before, and names the tool of the next one.
  void prepare(std::string_view tool);

 private:
  Surroundings();
  ~Surroundings();

  std::filesystem::path root_;
  std::filesystem::path temporary_;
  std::filesystem::path host_;
};

/// An RSA public key of 1,024 bits, made for tests.
extern const std::string_view publicKeyOfTheTests;
/// What stands in the source file, and where the identity's text would be.
inline constexpr std::string_view sourceText = "OFXHEADER:100\nThe source file's canary\n";
inline constexpr std::string_view identityText = "The identity's canary, which is no key at all\n";
/// The one destination of the environment.
inline constexpr std::string_view destinationText = "ssh://user@server.example:22";

}  // namespace ztp::test
