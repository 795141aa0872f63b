// What differs between operating systems. It has three bodies, of which CMake chooses one
// (ZTP_SYSTEM): SystemLinux.cpp, SystemDarwin.cpp for macOS, and SystemPosix.cpp, which any system
// could run. Nothing outside them asks which system it is.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>

namespace ztp::system {

/// Where this user's temporary directories are made; always absolute.
std::filesystem::path temporaryRoot();

/// The dotted version of the operating system, such as "12.0"; absent when there is none.
std::optional<std::string> productVersion();

/// The variables of the environment, "NAME=value" each, with a null pointer behind the last; null
/// where there are none.
char** environment() noexcept;

/// The program that packs and unpacks zip archives with the arguments "-c -k --keepParent" and
/// "-x -k".
std::filesystem::path archiverPath();

/// No core file of this process is ever written, and where the system allows it other processes of
/// the user cannot attach.
void disableCoreDumps();

/// In a freshly forked child: sees to it that it is killed when `parent` is gone, and ends it at
/// once when that has already happened. Where the system makes no such promise, a process that is
/// forked from the child keeps watch. Only calls that are safe after fork.
void dieWithParent(int parent) noexcept;

/// In a freshly forked child: every descriptor above `lastKept` is closed by exec.
void closeOnExecAbove(int lastKept) noexcept;

/// Asks for a pipe of more than the usual capacity; a refusal does not matter.
void enlargePipe(int fileDescriptor) noexcept;

/// Bytes that a pipe holds and nobody has read; 0 when that cannot be found out.
std::size_t bytesInPipe(int fileDescriptor) noexcept;

/// When a file was last read and last changed, in the order of futimens(2).
std::array<timespec, 2> timesOf(const struct stat& status) noexcept;

/// Makes a file that shares the blocks of an open one, which has been neither read nor written.
/// False, and nothing done, where the name is taken or the system has no such call: the content is
/// copied then, which may share blocks too (copyInKernel).
bool cloneFile(int source, int directory, const char* name) noexcept;

/// Copies as much as it can from one open file to another inside the kernel, sharing blocks where
/// the file system can. Bytes copied, 0 at the end of the file, absent when these files cannot be
/// copied this way (errno tells why).
std::optional<std::size_t> copyInKernel(int source, int destination, std::size_t maximum) noexcept;

/// Whether new files in an open directory inherit something from it that a file moved there would
/// not have, such as its group or an access list. True also where that cannot be found out.
bool hasInheritedAttributes(int directory) noexcept;

/// The flag of open(2) for a directory that may be searched but not listed.
int searchOnlyFlag() noexcept;

/// Exchanges the names of two items of one open directory atomically. False, and nothing done,
/// where the file system cannot do that (errno tells why).
bool exchangeNames(int directory, const char* name, const char* other) noexcept;

/// Fills in unpredictable bytes. False when the system has none.
bool fillWithRandomBytes(void* memory, std::size_t size) noexcept;

/// Tells the system that an open file is read only once. What is in the file cache already stays:
/// dropping pages that were just written would make the system store them first.
void keepOutOfFileCache(int fileDescriptor) noexcept;

}  // namespace ztp::system
