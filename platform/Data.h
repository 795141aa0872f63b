// Byte buffers. Every Data and SecretText wipes its memory before it releases it, so that a key, a
// decrypted body or the identity text never lingers in the heap, whoever held it last.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Wipe.h"

namespace ztp {

/// An allocator that wipes what it frees and leaves new elements uninitialised: a buffer that is
/// about to be read into is not filled with zeros first.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() noexcept = default;
  template <typename U>
  explicit(false) WipingAllocator(const WipingAllocator<U>& /*other*/) noexcept {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, std::size_t count) noexcept {
    wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  template <typename U>
  void construct(U* element) noexcept {
    std::uninitialized_default_construct_n(element, 1);
  }
  template <typename U, typename... Arguments>
  void construct(U* element, Arguments&&... arguments) {
    std::construct_at(element, std::forward<Arguments>(arguments)...);
  }
  friend bool operator==(const WipingAllocator&, const WipingAllocator&) noexcept { return true; }
};

/// A byte buffer. `Data(n)` and `resize(n)` leave the new bytes uninitialised.
using Data = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

/// A view of bytes that are owned elsewhere.
using DataView = std::span<const std::uint8_t>;

/// Text that is a secret, such as a private key. (A text short enough for the string's own inline
/// buffer is not wiped; no secret here is that short.)
using SecretText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

/// The bytes of a text, without a terminator.
inline DataView bytesOf(std::string_view text) noexcept {
  // char and unsigned char may alias each other.
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The same bytes seen as text; nothing is checked or copied.
inline std::string_view textOf(DataView bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The bytes that there are; an empty view for none.
inline DataView viewOf(const std::optional<Data>& data) noexcept {
  return data ? DataView(*data) : DataView();
}

/// A copy of the bytes that a view shows.
inline Data copyOf(DataView bytes) {
  return {bytes.begin(), bytes.end()};
}

}  // namespace ztp
