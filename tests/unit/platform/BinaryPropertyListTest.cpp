// How far binary property lists expand, and which are refused before anything is made of them.
#include "platform/BinaryPropertyList.h"

#include <gtest/gtest.h>

#include "platform/PropertyList.h"

namespace ztp::test {
namespace {

using std::literals::operator""sv;

void appendNumber(std::string& bytes, std::uint64_t number, unsigned size) {
  while (size-- > 0) bytes += static_cast<char>(number >> (8 * size) & 0xffU);
}

// A binary list made object by object; the first one is the outermost.
class Binary {
 public:
  explicit Binary(unsigned referenceSize = 1) : referenceSize_(referenceSize) {}

  Binary& add(std::string_view object) {
    offsets_.push_back(bytes_.size());
    bytes_ += object;
    return *this;
  }
  // A marker with that many references behind it; `marker` is the one of an empty collection.
  Binary& collection(unsigned char marker, const std::vector<std::uint64_t>& references) {
    std::string object(1, static_cast<char>(marker | 0xfU));
    object += '\x12';  // the count as an integer of four bytes
    const std::size_t perItem = marker == 0xd0 ? 2 : 1;
    appendNumber(object, references.size() / perItem, 4);
    for (const std::uint64_t reference : references) {
      appendNumber(object, reference, referenceSize_);
    }
    return add(object);
  }
  Binary& array(const std::vector<std::uint64_t>& references) {
    return collection(0xa0, references);
  }
  Binary& dictionary(const std::vector<std::uint64_t>& references) {
    return collection(0xd0, references);
  }

  [[nodiscard]] std::string data() const {
    std::string bytes = bytes_;
    for (const std::size_t offset : offsets_) appendNumber(bytes, offset, 4);
    bytes += std::string(6, '\0');
    bytes += '\x04';
    bytes += static_cast<char>(referenceSize_);
    for (const std::uint64_t number : {offsets_.size(), std::size_t{0}, bytes_.size()}) {
      appendNumber(bytes, number, 8);
    }
    return bytes;
  }

 private:
  unsigned referenceSize_;
  std::string bytes_ = "bplist00";
  std::vector<std::size_t> offsets_;
};

bool expands(const Binary& list) {
  return expandsWithinLimits(bytesOf(list.data()));
}

bool isRead(const Binary& list) {
  return PropertyList::fromData(bytesOf(list.data())).has_value();
}

constexpr auto key = "\x51k"sv;
constexpr auto text = "\x53txt"sv;

TEST(BinaryPropertyList, ReadsWhatExpandsWithinTheLimits) {
  const auto list = Binary().dictionary({1, 2}).add(key).add(text);
  EXPECT_TRUE(expands(list));
  const auto read = PropertyList::fromData(bytesOf(list.data()));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->string("k"), "txt");
}

// A dictionary of one array, in which the same text stands `count` times.
Binary repeating(std::size_t count, std::string_view repeated = text) {
  return Binary()
      .dictionary({1, 2})
      .add(key)
      .array(std::vector<std::uint64_t>(count, 3))
      .add(repeated);
}

TEST(BinaryPropertyList, HasAtMostTenThousandObjectsOnceExpanded) {
  constexpr std::size_t others = 3;  // the dictionary, its key, the array
  EXPECT_TRUE(isRead(repeating(10'000 - others)));
  EXPECT_FALSE(isRead(repeating(10'001 - others)));
}

// Arrays below a dictionary, each of which refers to the next one `times` times.
Binary chain(std::size_t arrays, std::size_t times) {
  Binary list(2);
  list.dictionary({1, 2}).add(key);
  for (std::size_t index = 2; index < arrays + 1; ++index) {
    list.array(std::vector<std::uint64_t>(times, index + 1));
  }
  return list.array({});
}

TEST(BinaryPropertyList, CountsEachObjectAsOftenAsItIsReferredTo) {
  EXPECT_TRUE(isRead(chain(12, 2)));   // 2 + 4,095 objects
  EXPECT_TRUE(isRead(chain(13, 2)));   // 2 + 8,191
  EXPECT_FALSE(isRead(chain(14, 2)));  // 2 + 16,383
  EXPECT_FALSE(isRead(chain(60, 2)));
  EXPECT_FALSE(isRead(chain(60, 10'000)));
}

TEST(BinaryPropertyList, IsAtMost64CollectionsDeep) {
  EXPECT_TRUE(isRead(chain(63, 1)));
  EXPECT_FALSE(isRead(chain(64, 1)));
  EXPECT_FALSE(isRead(chain(10'000, 1)));
}

// Two values: an array of the last object, and that object below `arrays` arrays.
Binary seenTwice(std::uint64_t arrays) {
  const std::uint64_t last = arrays + 3;
  Binary list;
  list.dictionary({1, 1, 2, 3}).add(key).array({last});
  for (std::uint64_t index = 3; index < last; ++index) list.array({index + 1});
  return list.array({});
}

TEST(BinaryPropertyList, KnowsHowDeepAnObjectIsOnEveryWayToIt) {
  EXPECT_TRUE(isRead(seenTwice(62)));
  EXPECT_FALSE(isRead(seenTwice(63)));
}

TEST(BinaryPropertyList, RefusesObjectsThatContainThemselves) {
  EXPECT_FALSE(isRead(Binary().dictionary({1, 0}).add(key)));
  EXPECT_FALSE(isRead(Binary().dictionary({1, 2}).add(key).array({3}).array({2})));
  EXPECT_FALSE(isRead(Binary().dictionary({0, 0})));
}

TEST(BinaryPropertyList, CountsTheContentOfTextsAndDataToo) {
  const auto ofSize = [](unsigned char marker, std::size_t size) {
    std::string object(1, static_cast<char>(marker | 0xfU));
    object += '\x12';
    appendNumber(object, size, 4);
    return object + std::string(marker == 0x60 ? 2 * size : size, 'x');
  };
  for (const auto marker : std::initializer_list<unsigned char>{0x40, 0x50}) {
    EXPECT_TRUE(isRead(repeating(10, ofSize(marker, 100'000))));
    EXPECT_FALSE(isRead(repeating(11, ofSize(marker, 100'000))));
  }
  EXPECT_TRUE(isRead(repeating(10, ofSize(0x60, 50'000))));
  EXPECT_FALSE(isRead(repeating(11, ofSize(0x60, 50'000))));
}

TEST(BinaryPropertyList, KnowsEveryKindOfCollection) {
  for (const auto marker : std::initializer_list<unsigned char>{0xa0, 0xb0, 0xc0}) {
    const auto holding = [&](std::size_t count) {
      return Binary().dictionary({1, 2}).add(key).collection(marker,
                                                             std::vector<std::uint64_t>(count, 1));
    };
    EXPECT_TRUE(expands(holding(9'997))) << static_cast<int>(marker);
    EXPECT_FALSE(expands(holding(9'998))) << static_cast<int>(marker);
  }
  const auto dictionaryOf = [](std::size_t pairs) {
    return Binary().dictionary(std::vector<std::uint64_t>(2 * pairs, 1)).add(key);
  };
  EXPECT_TRUE(expands(dictionaryOf(4'999)));   // 9,999 objects
  EXPECT_FALSE(expands(dictionaryOf(5'000)));  // 10,001
}

TEST(BinaryPropertyList, RefusesReferencesAndOffsetsThatLeadOut) {
  EXPECT_FALSE(expands(Binary().dictionary({1, 2}).add(key)));
  EXPECT_FALSE(expands(Binary().dictionary({1, 255}).add(key)));
  EXPECT_FALSE(expands(Binary().add("\xdf\x13\xff\xff\xff\xff\xff\xff\xff\xff")));
  EXPECT_FALSE(expands(Binary().add("\x4f\x13\x7f\xff\xff\xff\xff\xff\xff\xff")));
  EXPECT_FALSE(expands(Binary().add("\xaf\x14" + std::string(16, '\0'))));
  EXPECT_FALSE(expands(Binary().add("\xaf\x51x")));
  EXPECT_FALSE(
      expands(Binary().add("\x5e"
                           "cut")));
}

// What the bytes of the trailer may say at `fromEnd` bytes before the end, and what refuses it.
TEST(BinaryPropertyList, RefusesTrailersThatAreNotTrue) {
  const std::string good = Binary().dictionary({1, 2}).add(key).add(text).data();
  struct Change {
    std::size_t fromEnd;
    char value;
  };
  for (const auto& [fromEnd, value] :
       {Change{26, 0}, Change{26, 9}, Change{25, 0}, Change{25, 9}, Change{24, 1}, Change{17, 0},
        Change{17, 4}, Change{16, 1}, Change{9, 3}, Change{8, '\xff'}, Change{1, 7},
        Change{1, '\xf0'}}) {
    std::string bad = good;
    bad[bad.size() - fromEnd] = value;
    EXPECT_FALSE(expandsWithinLimits(bytesOf(bad))) << fromEnd;
  }
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_FALSE(expandsWithinLimits(bytesOf(good.substr(0, size)))) << size;
  }
}

TEST(BinaryPropertyList, ABinaryOneBehindAByteOrderMarkIsNone) {
  const std::string list = Binary().dictionary({1, 2}).add(key).add(text).data();
  EXPECT_FALSE(PropertyList::fromData(bytesOf("\xef\xbb\xbf" + list)));
}

}  // namespace
}  // namespace ztp::test
