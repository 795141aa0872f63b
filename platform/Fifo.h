// FIFOs whose other end may not be there yet.
#pragma once

#include <filesystem>

namespace ztp {

/// Opens a FIFO for reading and writing, without blocking: this never waits for the other end, and
/// the absence of the other end is no end of file. A descriptor that no child inherits, or -1 with
/// the reason in errno.
int openFifo(const std::filesystem::path& path) noexcept;
/// False for any other kind of file as well.
[[nodiscard]] bool isFifo(int fileDescriptor) noexcept;

}  // namespace ztp
