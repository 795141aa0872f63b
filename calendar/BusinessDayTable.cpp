// BusinessDayTable: rank and select over bits. A rank is a sum that is stored for each block of 64
// days and the bits before the day within it; a select guesses the block, corrects the guess by the
// sums, and finds the bit.
#include "calendar/BusinessDayTable.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace ztp {

namespace {

constexpr unsigned daysPerBlock = 64;
constexpr std::size_t blockCount =
    (BusinessDayTable::lastDay - BusinessDayTable::firstDay + 1) / daysPerBlock + 2;

std::size_t indexOf(DayNumber day) {
  return static_cast<std::size_t>(day - BusinessDayTable::firstDay);
}

bool hasBit(std::uint64_t bits, std::size_t index) {
  return (bits >> (index % daysPerBlock) & 1U) != 0;
}

constexpr std::uint64_t everyByte = 0x0101'0101'0101'0101;
constexpr std::uint64_t highBits = 0x80 * everyByte;

// In each byte how many bits are set in it and the bytes below it. All processors that the library
// runs on have the operations of this; not all have one that counts bits.
constexpr std::uint64_t sumsOfBytes(std::uint64_t bits) {
  bits -= (bits >> 1U) & 0x5555'5555'5555'5555;
  bits = (bits & 0x3333'3333'3333'3333) + ((bits >> 2U) & 0x3333'3333'3333'3333);
  return ((bits + (bits >> 4U)) & 0x0F0F'0F0F'0F0F'0F0F) * everyByte;
}

constexpr std::uint32_t countOfBits(std::uint64_t bits) {
  return static_cast<std::uint32_t>(sumsOfBytes(bits) >> 56U);
}

// How many bits are set below that of the index.
std::uint32_t bitsBelow(std::uint64_t bits, std::size_t index) {
  return countOfBits(bits & ((std::uint64_t{1} << (index % daysPerBlock)) - 1U));
}

// The place of the set bit that has `count` set bits below it.
unsigned placeOfBit(std::uint64_t bits, std::uint32_t count) {
  const std::uint64_t sums = sumsOfBytes(bits);
  // A high bit stays in every byte whose sum is not above the count: those end below the place.
  const std::uint64_t endBelow = ((count * everyByte | highBits) - sums) & highBits;
  const auto place = static_cast<unsigned>((((endBelow >> 7U) * everyByte) >> 56U) * 8U);
  std::uint64_t rest = bits >> place;
  for (std::uint64_t left = count - (((sums << 8U) >> place) & 0xFFU); left > 0; --left) {
    rest &= rest - 1U;
  }
  return place + static_cast<unsigned>(std::countr_zero(rest));
}

}  // namespace

BusinessDayTable::BusinessDayTable(const std::vector<bool>& isOpen,
                                   std::vector<NamedHoliday> holidays)
    : blocks_(blockCount), holidays_(std::move(holidays)) {
  for (std::size_t index = 0; index < isOpen.size(); ++index) {
    const std::uint64_t bit = isOpen[index] ? 1U : 0U;
    blocks_[index / daysPerBlock].open |= bit << (index % daysPerBlock);
  }
  for (const NamedHoliday& holiday : holidays_) {
    const std::size_t index = indexOf(holiday.day);
    blocks_[index / daysPerBlock].holidays |= std::uint64_t{1} << (index % daysPerBlock);
  }
  for (std::size_t at = 1; at < blocks_.size(); ++at) {
    const Block& before = blocks_[at - 1];
    blocks_[at].openBefore = before.openBefore + countOfBits(before.open);
    blocks_[at].holidaysBefore = before.holidaysBefore + countOfBits(before.holidays);
  }
  const std::uint32_t all = std::max(blocks_.back().openBefore, std::uint32_t{1});
  blocksPerBusinessDay_ = static_cast<double>(blocks_.size()) / all;
}

bool BusinessDayTable::isBusinessDay(DayNumber day) const {
  if (!covers(day)) return false;
  const std::size_t index = indexOf(day);
  return hasBit(blocks_[index / daysPerBlock].open, index);
}

std::size_t BusinessDayTable::holidaysBefore(DayNumber day) const {
  const std::size_t index = indexOf(day);
  const Block& block = blocks_[index / daysPerBlock];
  return block.holidaysBefore + bitsBelow(block.holidays, index);
}

const NamedHoliday* BusinessDayTable::holidayOn(DayNumber day) const {
  if (!covers(day)) return nullptr;
  const std::size_t index = indexOf(day);
  if (!hasBit(blocks_[index / daysPerBlock].holidays, index)) return nullptr;
  return &holidays_[holidaysBefore(day)];
}

std::span<const NamedHoliday> BusinessDayTable::holidays(DayNumber from, DayNumber before) const {
  const std::size_t first = holidaysBefore(std::clamp(from, firstDay, lastDay + 1));
  const std::size_t end = holidaysBefore(std::clamp(before, firstDay, lastDay + 1));
  return std::span(holidays_).subspan(first, end > first ? end - first : 0);
}

std::int64_t BusinessDayTable::businessDaysBefore(DayNumber day) const {
  const std::size_t index = indexOf(day);
  const Block& block = blocks_[index / daysPerBlock];
  return std::int64_t{block.openBefore} + bitsBelow(block.open, index);
}

std::optional<DayNumber> BusinessDayTable::businessDayAfter(std::int64_t count,
                                                            DayNumber near) const {
  if (count < 0 || count >= blocks_.back().openBefore) return std::nullopt;
  const auto wanted = static_cast<std::uint32_t>(count);
  const auto start = static_cast<std::int64_t>(indexOf(near) / daysPerBlock);
  const auto away =
      static_cast<double>(count - blocks_[static_cast<std::size_t>(start)].openBefore) *
      blocksPerBusinessDay_;
  std::int64_t at = std::clamp<std::int64_t>(start + static_cast<std::int64_t>(away), 0,
                                             static_cast<std::int64_t>(blocks_.size()) - 2);
  auto block = static_cast<std::size_t>(at);
  while (blocks_[block].openBefore > wanted) --block;
  while (blocks_[block + 1].openBefore <= wanted) ++block;
  const unsigned place = placeOfBit(blocks_[block].open, wanted - blocks_[block].openBefore);
  return firstDay + static_cast<DayNumber>(block * daysPerBlock + place);
}

}  // namespace ztp
