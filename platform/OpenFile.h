// The one way in which this folder opens files; for its .cpp files.
#pragma once

#include <filesystem>

namespace ztp {

/// open(2), not inherited by children and not ended by interruptions: a descriptor, or -1 with the
/// reason in errno.
int openFile(const std::filesystem::path& path, int flags, unsigned mode = 0) noexcept;
/// The same for a path relative to an open directory.
int openFileAt(int directory, const std::filesystem::path& path, int flags,
               unsigned mode = 0) noexcept;

}  // namespace ztp
