// Reading the file that is sent, chunk by chunk, in one buffer.
#pragma once

#include "platform/Data.h"
#include "platform/FileHandle.h"

namespace ztp {

/// The most of a file that is held in memory while it is sent.
inline constexpr std::size_t fileChunkSize = 256'000;

/// Fills `buffer` with the next bytes of the file, at most fileChunkSize, and shows them; fewer
/// only at the end of the file, empty when nothing is left. Raises PlatformException when it cannot
/// be read.
DataView readFileChunk(const FileHandle& file, Data& buffer);

}  // namespace ztp
