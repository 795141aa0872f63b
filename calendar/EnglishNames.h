// EnglishNames: the month and weekday names of "en_US_POSIX", and how texts are compared with them.
// The same for every user, whatever the locale. Not installed.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace ztp {

/// January is the first, as month 1.
inline constexpr std::array<std::string_view, 12> monthNames = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};

/// Sunday is the first, as weekday 1.
inline constexpr std::array<std::string_view, 7> weekdayNames = {
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

/// All abbreviations are the first three letters of the name.
inline constexpr std::size_t abbreviationLength = 3;

/// The letter in lower case; any other character as it is.
constexpr char asciiLowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// Equal but for the case of English letters.
constexpr bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return asciiLowerCase(a) == asciiLowerCase(b); });
}

}  // namespace ztp
