// Looks values up without copying anything but the value itself.
#include "app/DictionaryValues.h"

#include <limits>

#include <nlohmann/json.hpp>

#include "platform/Error.h"
#include "platform/Text.h"

namespace ztp {
namespace {

// Null when there is no such key.
const Dictionary* valueForKey(const Dictionary& dictionary, std::string_view key) {
  if (!dictionary.is_object())
    throw PlatformException("The body of the message is not a dictionary");
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : &*found;
}

std::int64_t nearestInteger(double value) {
  using Limits = std::numeric_limits<std::int64_t>;
  constexpr double bound = 9223372036854775808.0;  // 2 to the power of 63
  if (value >= bound) return Limits::max();
  if (value < -bound) return Limits::min();
  return static_cast<std::int64_t>(value);
}

std::int64_t nearestInteger(std::uint64_t value) {
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  return value > static_cast<std::uint64_t>(largest) ? largest : static_cast<std::int64_t>(value);
}

}  // namespace

std::optional<SecretText> stringForKey(const Dictionary& dictionary, std::string_view key) {
  const Dictionary* value = valueForKey(dictionary, key);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string()) {
    throw PlatformException("The value of " + std::string(key) + " is not a string");
  }
  return value->get_ref<const SecretText&>();
}

std::optional<std::int64_t> integerForKey(const Dictionary& dictionary, std::string_view key) {
  const Dictionary* value = valueForKey(dictionary, key);
  if (value == nullptr) return std::nullopt;
  switch (value->type()) {
    case Dictionary::value_t::number_integer:
      return value->get<std::int64_t>();
    case Dictionary::value_t::number_unsigned:
      return nearestInteger(value->get<std::uint64_t>());
    case Dictionary::value_t::number_float:
      return nearestInteger(value->get<double>());
    case Dictionary::value_t::boolean:
      return value->get<bool>() ? 1 : 0;
    case Dictionary::value_t::string:
      return leadingInteger(value->get_ref<const SecretText&>());
    default:
      throw PlatformException("The value of " + std::string(key) + " is not an integer");
  }
}

}  // namespace ztp
