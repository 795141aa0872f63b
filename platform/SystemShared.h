// What SystemLinux.cpp and SystemPosix.cpp share: the functions of System.h that are not in either
// of them are in SystemShared.cpp. For these three files.
#pragma once

#include <filesystem>

namespace ztp::system {

/// Where the running program is; empty when that cannot be found out. Each of the two has its own.
std::filesystem::path programPath();

}  // namespace ztp::system
