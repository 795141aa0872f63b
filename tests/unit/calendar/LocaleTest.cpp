// The user's locale changes nothing: names are English, digits are digits, points are points.
#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>

#include "CalendarTesting.h"
#include "calendar/ZDateUtilities.h"
#include "calendar/ZTimestampUtilities.h"

namespace ztp::test {
namespace {

// Groups digits by dots and writes decimal commas, as much of Europe does.
class ForeignNumbers : public std::numpunct<char> {
 public:
  ForeignNumbers() : std::numpunct<char>(1) {}

 protected:
  [[nodiscard]] char do_decimal_point() const override { return ','; }
  [[nodiscard]] char do_thousands_sep() const override { return '.'; }
  [[nodiscard]] std::string do_grouping() const override { return "\1"; }
};

// The C++ locale of the program is foreign for the life of the object, and so is the C library's
// where the system has one that is.
class ForeignLocale {
 public:
  ForeignLocale() : before_(std::locale::global(std::locale(std::locale::classic(), &numbers()))) {
    for (const char* name : {"tr_TR.UTF-8", "de_DE.UTF-8", "ar_EG.UTF-8", "fa_IR.UTF-8"}) {
      if (std::setlocale(LC_ALL, name)) break;
    }
  }
  ~ForeignLocale() {
    std::locale::global(before_);
    std::setlocale(LC_ALL, "C");
  }
  ForeignLocale(const ForeignLocale&) = delete;
  ForeignLocale& operator=(const ForeignLocale&) = delete;

 private:
  static ForeignNumbers& numbers() {
    static ForeignNumbers facet;
    return facet;
  }
  std::locale before_;
};

TEST(Locale, ChangesNeitherNamesNorNumbers) {
  const ForeignLocale foreign;
  const Timestamp instant = utc(2019, 3, 15, 13, 30, 0, 0.25);
  EXPECT_EQ(ZTimestampUtilities::ISO8601StringFromTimestamp(instant), "2019-03-15T13:30:00Z");
  EXPECT_EQ(ZTimestampUtilities::ISO8601ESTStringFromTimestamp(instant), "2019-03-15 09:30:00");
  EXPECT_EQ(DateFormatter("EEEE d MMMM y S", TimeZone::utc()).stringFromTimestamp(instant),
            "Friday 15 March 2019 2");
  EXPECT_EQ(
      text(ZTimestampUtilities::timestampFromRFC1123String("Fri, 15 Mar 2019 13:30:00 +0000")),
      "2019-03-15 13:30:00");
  EXPECT_EQ(ZTimestampUtilities::timestampFromISO8601String("2019-03-15T13:30:00.250Z"), instant);
  EXPECT_EQ(ZDateUtilities::ISO8601StringFromDate(day(2019, 3, 15)), "2019-03-15");
  EXPECT_EQ(ZDateUtilities::OFXStringFromDate(day(2019, 3, 15)), "20190315");
  EXPECT_EQ(ZDateUtilities::dayOfWeekForName("FRIDAY"), 6);  // no dotless i
  EXPECT_EQ(text(ZDateUtilities::dateFromMonthDayYearString("3/15/2019")), "2019-03-15");
}

}  // namespace
}  // namespace ztp::test
