// What differs between operating systems. SystemLinux.cpp and SystemDarwin.cpp are its two bodies;
// CMake chooses one. Nothing outside them asks which system it is.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace ztp::system {

/// Where this user's temporary directories are made; always absolute.
std::filesystem::path temporaryRoot();

/// The dotted version of the operating system, such as "12.0"; absent when there is none.
std::optional<std::string> productVersion();

/// The program that packs and unpacks zip archives with the arguments "-c -k --keepParent" and
/// "-x -k".
std::filesystem::path archiverPath();

/// No core file of this process is ever written, and other processes of the user cannot attach.
void disableCoreDumps();

/// In a freshly forked child: makes the system kill it when `parent` is gone, and ends it at once
/// when that has already happened. Only calls that are safe after fork.
void dieWithParent(int parent) noexcept;

/// In a freshly forked child: every descriptor above `lastKept` is closed by exec.
void closeOnExecAbove(int lastKept) noexcept;

/// Asks for a pipe of more than the usual capacity; a refusal does not matter.
void enlargePipe(int fileDescriptor) noexcept;

/// Bytes that a pipe holds and nobody has read; 0 when that cannot be found out.
std::size_t bytesInPipe(int fileDescriptor) noexcept;

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
