// Property lists: the XML form is written for the host; the XML and the binary form are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/Data.h"
#include "platform/Error.h"

namespace ztp {

/// A dictionary to be written: strings and unsigned integers.
using PropertyListValue = std::variant<std::string, std::uint64_t>;
using PropertyListDictionary = std::map<std::string, PropertyListValue, std::less<>>;

/// The published XML form, version 1.0: keys sorted, tabs, one line feed at the end. An error when
/// a text is not UTF-8 or holds a character that XML 1.0 does not allow, or a number needs more
/// than 63 bits.
[[nodiscard]] Result<std::string> xmlPropertyList(const PropertyListDictionary& dictionary);

/// A dictionary that was read.
class PropertyList {
 public:
  /// Larger files count as unreadable: a list nested deeply enough to exhaust the parser's stack
  /// does not fit.
  static constexpr std::size_t maximumSize = 262'144;

  /// Reads the XML form in the encoding that it tells (see xmlInUtf8) or the binary form. Absent
  /// when the bytes are not a property list, the list is not a dictionary or, in its binary form,
  /// expands beyond the limits of BinaryPropertyList.h, or there are more than maximumSize bytes.
  static std::optional<PropertyList> fromData(DataView bytes);
  /// The same from a file; absent also when it cannot be read.
  static std::optional<PropertyList> fromFile(const std::filesystem::path& path);

  /// The text under `key`, absent when there is none. Raises PlatformException when the value is
  /// not a string.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  /// The integer value under `key`: of an integer, a real (towards zero), a boolean (0 or 1) or the
  /// leading digits of a string. Absent when there is none. Raises PlatformException for any other
  /// type.
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;

 private:
  explicit PropertyList(std::shared_ptr<void> node) : node_(std::move(node)) {}
  [[nodiscard]] void* item(std::string_view key) const;

  std::shared_ptr<void> node_;
};

}  // namespace ztp
