// Binary property lists, checked before anything is built from them.
//
// Their objects refer to each other by number, and each may be referred to any number of times.
// Building a tree from them makes an object as often as there is a path to it: a few bytes can
// stand for more than any memory holds.
#pragma once

#include <cstdint>

#include "platform/Data.h"

namespace ztp {

/// The most objects that a list may expand to; a key counts as one.
inline constexpr std::uint64_t maximumExpandedObjects = 10'000;
/// The most collections that may lie within each other, the outermost included.
inline constexpr unsigned maximumExpandedDepth = 64;
/// The most bytes that texts, data and numbers may have once expanded.
inline constexpr std::uint64_t maximumExpandedContent = 1'048'576;

/// True when the bytes begin as a binary property list does.
bool isBinaryPropertyList(DataView bytes);

/// True when every object of the list that can be reached lies where it may, none contains itself,
/// and all of them, each counted as often as it is reached, stay within the limits. Takes time and
/// memory in proportion to the bytes.
bool expandsWithinLimits(DataView list);

}  // namespace ztp
