// Headers as the programs at the other end expect them: made in a buffer of a fixed size.
#pragma once

#include <cstddef>
#include <string>

namespace ztp {

/// What comes out of a buffer of `bufferSize` bytes, the last one for a terminating NUL, when a
/// header is put into it: the header, or, when it does not fit, as many bytes as the buffer has,
/// the NUL included. Each of our peers is built around such a buffer, so a header that is too long
/// must be cut where it always was: with a NUL in place of the line feed nobody takes it for a good
/// one.
[[nodiscard]] inline std::string truncatedHeader(std::string header, std::size_t bufferSize) {
  if (header.size() >= bufferSize) {
    header.resize(bufferSize);
    header.back() = '\0';
  }
  return header;
}

}  // namespace ztp
