// The structure of a binary property list, as far as it must be known to count. All numbers have
// their most significant byte first.
//
//   list       = "bplist00" *object *offset trailer
//   offset     = where an object begins, from the start of the list; the n-th is that of object n
//   trailer    = 6 bytes, the size of an offset (1 byte) and of a reference (1), the count of
//                objects (8), the number of the outermost one (8), where the offsets begin (8)
//   object     = marker [integer] content; a marker is a kind (4 bits) and n (4 bits)
//   content    = nothing                     kind 0    null, false, true
//              / 2^n bytes                   kind 1    integer
//              / 2^n bytes                   kind 2    real
//              / 8 bytes                     kind 3    date
//              / n bytes                     kind 4    data
//              / n bytes                     kind 5    text in ASCII
//              / 2n bytes                    kind 6    text in UTF-16
//              / n + 1 bytes                 kind 8    UID
//              / n references                kind 10   array; 11 and 12, sets
//              / n references to keys, n references to values    kind 13   dictionary
//   reference  = the number of an object
//
// Where n counts bytes or references and is 15, an integer object behind the marker counts instead.
#include "platform/BinaryPropertyList.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace ztp {
namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailerSize = 32;
constexpr std::uint64_t countedElsewhere = 15;

// Thrown where the list is not as it must be or goes beyond a limit.
struct Refused {};

DataView part(DataView bytes, std::uint64_t start, std::uint64_t size) {
  if (start > bytes.size() || size > bytes.size() - start) throw Refused{};
  return bytes.subspan(start, size);
}

std::uint64_t number(DataView bytes, std::uint64_t start, std::uint64_t size) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : part(bytes, start, size)) value = value << 8U | byte;
  return value;
}

// What is left of the bytes while an object is read from their front.
class Cursor {
 public:
  Cursor(DataView bytes, std::uint64_t start)
      : rest_(part(bytes, start, bytes.size() - std::min<std::uint64_t>(start, bytes.size()))) {}

  std::uint64_t next(std::uint64_t size) {
    const std::uint64_t value = number(rest_, 0, size);
    rest_ = rest_.subspan(size);
    return value;
  }
  void skip(std::uint64_t size) { rest_ = rest_.subspan(part(rest_, 0, size).size()); }

 private:
  DataView rest_;
};

// What an object expands to, itself included.
struct Extent {
  std::uint64_t objects = 0;
  std::uint64_t content = 0;  // bytes
  unsigned depth = 0;

  void add(const Extent& item) {
    objects += item.objects;
    content += item.content;
    depth = std::max(depth, item.depth + 1);
    if (objects > maximumExpandedObjects || content > maximumExpandedContent) throw Refused{};
  }
};

class Expansion {
 public:
  explicit Expansion(DataView list) {
    if (list.size() < magic.size() + trailerSize) throw Refused{};
    const DataView body = list.first(list.size() - trailerSize);
    Cursor trailer(list, body.size() + 6);
    offsetSize_ = trailer.next(1);
    referenceSize_ = trailer.next(1);
    count_ = trailer.next(8);
    outermost_ = trailer.next(8);
    const std::uint64_t tableStart = trailer.next(8);
    if (!isNumberSize(offsetSize_) || !isNumberSize(referenceSize_) || count_ > body.size()) {
      throw Refused{};
    }
    offsets_ = part(body, tableStart, count_ * offsetSize_);
    objects_ = body.first(tableStart);
  }

  void measure() { static_cast<void>(extentOf(outermost_, 0)); }

 private:
  static bool isNumberSize(std::uint64_t size) { return size >= 1 && size <= 8; }

  // `level` is the number of collections around the object.
  Extent extentOf(std::uint64_t object, unsigned level) {
    auto known = known_.find(object);
    if (known == known_.end()) known = known_.emplace(object, measured(object, level)).first;
    if (level + known->second.depth > maximumExpandedDepth) throw Refused{};
    return known->second;
  }

  Extent measured(std::uint64_t object, unsigned level) {
    if (object >= count_) throw Refused{};
    Cursor cursor(objects_, number(offsets_, object * offsetSize_, offsetSize_));
    const std::uint64_t marker = cursor.next(1);
    const std::uint64_t kind = marker >> 4U;
    const std::uint64_t length = lengthOf(kind, marker & 0xfU, cursor);
    if (kind == 13) return extentOfCollection(cursor, 2 * length, level);
    if (kind >= 10) return extentOfCollection(cursor, length, level);
    cursor.skip(length);
    return {1, length, 0};
  }

  // Bytes of the content, or entries of a collection.
  std::uint64_t lengthOf(std::uint64_t kind, std::uint64_t low, Cursor& cursor) const {
    switch (kind) {
      case 0:
        return 0;
      case 1:
      case 2:
        return std::uint64_t{1} << low;
      case 3:
        return 8;
      case 4:
      case 5:
      case 10:
      case 11:
      case 12:
      case 13:
        return countOf(low, cursor);
      case 6:
        return 2 * countOf(low, cursor);
      case 8:
        return low + 1;
      default:
        throw Refused{};
    }
  }

  // No more than there are bytes, so that twice as many is a number, too.
  std::uint64_t countOf(std::uint64_t low, Cursor& cursor) const {
    std::uint64_t count = low;
    if (low == countedElsewhere) {
      const std::uint64_t marker = cursor.next(1);
      if (marker < 0x10 || marker > 0x13) throw Refused{};
      count = cursor.next(std::uint64_t{1} << (marker & 0xfU));
    }
    if (count > objects_.size()) throw Refused{};
    return count;
  }

  // The limit of depth also ends the way through objects that contain themselves.
  Extent extentOfCollection(Cursor& cursor, std::uint64_t references, unsigned level) {
    if (level >= maximumExpandedDepth) throw Refused{};
    Extent extent{1, 0, 1};
    for (; references > 0; --references) {
      extent.add(extentOf(cursor.next(referenceSize_), level + 1));
    }
    return extent;
  }

  DataView objects_;
  DataView offsets_;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t outermost_ = 0;
  std::unordered_map<std::uint64_t, Extent> known_;
};

}  // namespace

bool isBinaryPropertyList(DataView bytes) {
  return textOf(bytes).starts_with(magic);
}

bool expandsWithinLimits(DataView list) {
  try {
    Expansion(list).measure();
    return true;
  } catch (const Refused&) {
    return false;
  }
}

}  // namespace ztp
