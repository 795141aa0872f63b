// FixedFormats: every character of a fixed form has its place, so a text is read without looking
// for anything: all digits are taken first, and one test at the end says whether all of them were.
#include "calendar/FixedFormats.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "calendar/CivilDate.h"
#include "calendar/EnglishNames.h"
#include "calendar/WholeSeconds.h"

namespace ztp {

namespace {

// Takes numbers out of a text at given places and remembers whether a character was not a digit.
class DigitReader {
 public:
  explicit DigitReader(const char* text) : text_(text) {}

  std::int32_t two(std::size_t at) { return 10 * digit(at) + digit(at + 1); }
  std::int32_t three(std::size_t at) { return 100 * digit(at) + two(at + 1); }
  std::int32_t four(std::size_t at) { return 100 * two(at) + two(at + 2); }
  [[nodiscard]] bool sawDigitsOnly() const { return outside_ <= INT32_MAX; }

 private:
  std::int32_t digit(std::size_t at) {
    const auto value = static_cast<std::uint32_t>(static_cast<unsigned char>(text_[at])) - '0';
    outside_ |= value | (9U - value);  // either wraps around for what is not a digit
    return static_cast<std::int32_t>(value & 0xFFU);
  }

  const char* text_;
  std::uint32_t outside_ = 0;
};

std::int64_t secondsOf(std::int64_t day, std::int64_t hour, std::int64_t minute,
                       std::int64_t second) {
  return day * secondsPerDay + hour * 3600 + minute * 60 + second;
}

// Eight characters as one number, the first in the lowest byte.
std::uint64_t eightCharacters(const char* text) {
  std::uint64_t characters = 0;
  std::memcpy(&characters, text, sizeof characters);
  static_assert(std::endian::native == std::endian::little);
  return characters;
}

// The eight characters of a literal, likewise.
constexpr std::uint64_t packedEight(std::string_view text) {
  std::uint64_t characters = 0;
  for (std::size_t at = 8; at-- > 0;) {
    characters = characters << 8U | static_cast<unsigned char>(text.at(at));
  }
  return characters;
}

// Whether the characters are those of the form, in which a "0" stands for any digit.
constexpr bool isOfForm(std::uint64_t characters, std::string_view form) {
  constexpr std::uint64_t everyByte = 0x0101'0101'0101'0101;
  std::uint64_t digits = 0;  // 1 in the bytes of digits
  for (std::size_t at = 0; at < 8; ++at) {
    if (form.at(at) == '0') digits |= std::uint64_t{1} << (8U * at);
  }
  // In a digit's place there is 0 to 9 left, elsewhere 0: adding 0x76 shows what is above 9 in a
  // byte's high bit, and what is above 0x7F shows itself.
  const std::uint64_t left = characters ^ packedEight(form);
  const std::uint64_t above =
      ((left & 0x7F * everyByte) + 0x76 * digits + 0x7F * (everyByte - digits)) | left;
  return (above & 0x80 * everyByte) == 0;
}

// The number of the two digits at a place of eight characters that are of a form.
std::int32_t twoDigits(std::uint64_t characters, unsigned at) {
  const auto pair = static_cast<std::uint32_t>(characters >> (8U * at));
  return static_cast<std::int32_t>((pair & 0x0FU) * 10U + ((pair >> 8U) & 0x0FU));
}

// "2019-03-15T13:30:00", the part that both ISO forms share, in three overlapping pieces of eight;
// `text` has at least 19 characters.
std::optional<std::int64_t> readISO8601DateAndTime(const char* text) {
  const std::uint64_t head = eightCharacters(text);        // "2019-03-"
  const std::uint64_t middle = eightCharacters(text + 8);  // "15T13:30"
  const std::uint64_t tail = eightCharacters(text + 11);   // "13:30:00"
  const bool isOfISO =
      isOfForm(head, "0000-00-") && isOfForm(middle, "00T00:00") && isOfForm(tail, "00:00:00");
  if (!isOfISO) return std::nullopt;
  const CivilDate date{100 * twoDigits(head, 0) + twoDigits(head, 2), twoDigits(head, 5),
                       twoDigits(middle, 0)};
  const std::int32_t hour = twoDigits(tail, 0);
  const std::int32_t minute = twoDigits(tail, 3);
  const std::int32_t second = twoDigits(tail, 6);
  if (!isExistingDay(date) || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return secondsOf(dayNumberFromCivilDate(date), hour, minute, second);
}

// Three letters in any case as one number.
constexpr std::uint32_t packedLetters(const char* text) {
  const auto lower = [](char letter) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(letter)) | 0x20U;
  };
  return lower(text[0]) << 16U | lower(text[1]) << 8U | lower(text[2]);
}

template <std::size_t count>
constexpr std::array<std::uint32_t, count> packedNames(
    const std::array<std::string_view, count>& names) {
  std::array<std::uint32_t, count> packed{};
  for (std::size_t at = 0; at < count; ++at) packed.at(at) = packedLetters(names.at(at).data());
  return packed;
}

constexpr auto packedMonths = packedNames(monthNames);
constexpr auto packedWeekdays = packedNames(weekdayNames);

// 1 for the first name, 0 for no name. Every name is looked at: no guess for the processor to
// miss.
template <std::size_t count>
std::int32_t numberOfName(const std::array<std::uint32_t, count>& names, const char* text) {
  const std::uint32_t wanted = packedLetters(text);
  std::int32_t number = 0;
  for (std::size_t at = 0; at < count; ++at) {
    number |= names[at] == wanted ? static_cast<std::int32_t>(at) + 1 : 0;
  }
  return number;
}

// "+0000" or "GMT".
std::optional<std::int32_t> readOffset(std::string_view text) {
  if (equalIgnoringCase(text, "GMT")) return 0;
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  DigitReader digits(text.data());
  const std::int32_t hours = digits.two(1);
  const std::int32_t minutes = digits.two(3);
  if (!digits.sawDigitsOnly() || hours > 23 || minutes > 59) return std::nullopt;
  const std::int32_t seconds = hours * 3600 + minutes * 60;
  return text[0] == '-' ? -seconds : seconds;
}

constexpr std::array<char, 200> digitPairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t number = 0; number < 100; ++number) {
    pairs.at(2 * number) = static_cast<char>('0' + number / 10);
    pairs.at(2 * number + 1) = static_cast<char>('0' + number % 10);
  }
  return pairs;
}();

void putTwo(char* to, std::int32_t number) {
  const char* pair = digitPairs.data() + 2 * static_cast<std::size_t>(number);
  to[0] = pair[0];
  to[1] = pair[1];
}

}  // namespace

std::optional<ParsedTime> readISO8601(std::string_view text) {
  if (text.size() != 20 || text[19] != 'Z') return std::nullopt;
  const std::optional<std::int64_t> seconds = readISO8601DateAndTime(text.data());
  if (!seconds) return std::nullopt;
  return ParsedTime{*seconds};
}

std::optional<ParsedTime> readISO8601Milliseconds(std::string_view text) {
  if (text.size() != 24 || text[19] != '.' || text[23] != 'Z') return std::nullopt;
  const std::optional<std::int64_t> seconds = readISO8601DateAndTime(text.data());
  DigitReader digits(text.data());
  const std::int32_t milliseconds = digits.three(20);
  if (!seconds || !digits.sawDigitsOnly()) return std::nullopt;
  return ParsedTime{*seconds, milliseconds / 1000.0};
}

std::optional<ParsedTime> readRFC1123(std::string_view text) {
  // 0 "Fri, " 5 "15 " 8 "Mar " 12 "2019 " 17 "13:30:00 " 26 "+0000"
  if (text.size() < 29) return std::nullopt;
  const char* at = text.data();
  DigitReader digits(at);
  const CivilDate date{digits.four(12), numberOfName(packedMonths, at + 8), digits.two(5)};
  const std::int32_t hour = digits.two(17);
  const std::int32_t minute = digits.two(20);
  const std::int32_t second = digits.two(23);
  const bool separated = at[3] == ',' && at[4] == ' ' && at[7] == ' ' && at[11] == ' ' &&
                         at[16] == ' ' && at[19] == ':' && at[22] == ':' && at[25] == ' ';
  if (!separated || !digits.sawDigitsOnly()) return std::nullopt;
  if (numberOfName(packedWeekdays, at) == 0 || !isExistingDay(date)) return std::nullopt;
  const std::optional<std::int32_t> offset = readOffset(text.substr(26));
  if (!offset || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return ParsedTime{secondsOf(dayNumberFromCivilDate(date), hour, minute, second), 0.0, offset};
}

bool isOfFourDigitYear(const WallTime& time) {
  return time.seconds < dayNumberFromCivilDate({10'000, 1, 1}) * secondsPerDay;
}

std::string printISO8601(const WallTime& time) {
  const DayAndSecond at = splitSeconds(time.seconds);
  const CivilDate date = civilDateFromDayNumber(static_cast<DayNumber>(at.day));
  std::string text("0000-00-00T00:00:00Z");
  char* const to = text.data();
  putTwo(to, date.year / 100);
  putTwo(to + 2, date.year % 100);
  putTwo(to + 5, date.month);
  putTwo(to + 8, date.day);
  putTwo(to + 11, at.second / 3600);
  putTwo(to + 14, at.second / 60 % 60);
  putTwo(to + 17, at.second % 60);
  return text;
}

}  // namespace ztp
