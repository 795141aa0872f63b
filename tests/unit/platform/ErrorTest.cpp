// Errors as values: what a Result holds, and how a caller gets at it.
#include "platform/Error.h"

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

namespace ztp::test {
namespace {

Result<std::string> nameOf(int number) {
  if (number == 1) return std::string("one");
  return Error{"no name"};
}

TEST(Result, HoldsAValueOrAnError) {
  EXPECT_TRUE(nameOf(1));
  EXPECT_TRUE(nameOf(1).has_value());
  EXPECT_EQ(*nameOf(1), "one");
  EXPECT_EQ(nameOf(1)->size(), 3U);
  EXPECT_FALSE(nameOf(2));
  EXPECT_FALSE(nameOf(2).has_value());
  EXPECT_EQ(nameOf(2).error().description, "no name");
}

TEST(Result, LetsItsValueBeChangedAndMovedOut) {
  Result<std::unique_ptr<int>> number(std::make_unique<int>(1));
  **number = 2;
  const std::unique_ptr<int> taken = *std::move(number);
  EXPECT_EQ(*taken, 2);
}

TEST(Result, HasAnotherValueInPlaceOfAnError) {
  EXPECT_EQ(nameOf(1).valueOr("other"), "one");
  EXPECT_EQ(nameOf(2).valueOr("other"), "other");
  const auto none = nameOf(2);
  EXPECT_EQ(none.valueOr("other"), "other");
}

TEST(Result, RaisesItsErrorWhereItsValueIsDemanded) {
  EXPECT_EQ(nameOf(1).value(), "one");
  try {
    static_cast<void>(nameOf(2).value());
    FAIL() << "nothing raised";
  } catch (const PlatformException& exception) {
    EXPECT_STREQ(exception.what(), "no name");
  }
}

// A value that is empty or false is a value.
TEST(Result, IsTrueForEveryValue) {
  EXPECT_TRUE(Result<bool>(false));
  EXPECT_TRUE(Result<std::optional<int>>(std::nullopt));
  EXPECT_TRUE(Result<std::string>(std::string()));
}

TEST(Error, OfASystemCallNamesTheCallAndTheReason) {
  EXPECT_EQ(Error::fromErrorNumber("open /a", ENOENT).description,
            "open /a: No such file or directory");
  errno = EACCES;
  EXPECT_EQ(Error::fromErrno("open /a").description, "open /a: Permission denied");
}

}  // namespace
}  // namespace ztp::test
