// DateFormatter: the letters and their widths, quotes, strictness, zones; the fast forms against
// the general way.
#include "calendar/DateFormatter.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "CalendarTesting.h"

namespace ztp::test {
namespace {

struct PrintCase {
  const char* pattern;
  const char* zone;
  Timestamp instant;
  const char* text;
};

const Timestamp march = utc(2019, 3, 5, 13, 7, 9, 0.25);

const PrintCase printCases[] = {
    {"y", "UTC", march, "2019"},
    {"yy", "UTC", march, "19"},
    {"yyy", "UTC", march, "2019"},
    {"yyyy", "UTC", utc(19, 3, 5), "0019"},
    {"yyyyyy", "UTC", march, "002019"},
    {"yyyy", "UTC", utc(12'345, 3, 5), "12345"},
    {"M MM MMM MMMM", "UTC", march, "3 03 Mar March"},
    {"d dd", "UTC", march, "5 05"},
    {"E EE EEE EEEE", "UTC", march, "Tue Tue Tue Tuesday"},
    {"H HH h hh a aaa", "UTC", march, "13 13 1 01 PM PM"},
    {"H HH h hh a", "UTC", utc(2019, 3, 5, 0), "0 00 12 12 AM"},
    {"h a", "UTC", utc(2019, 3, 5, 12), "12 PM"},
    {"m mm s ss", "UTC", march, "7 07 9 09"},
    {"S SS SSS SSSSSS", "UTC", march, "2 25 250 250000"},
    {"SSS", "UTC", utc(2019, 3, 5, 0, 0, 0, 0.123), "123"},
    {"SSS", "UTC", utc(9999, 3, 5, 0, 0, 0, 0.001), "001"},
    {"SSS", "UTC", utc(2019, 3, 5, 0, 0, 0, 0.9999), "999"},
    {"Z ZZ ZZZ ZZZZ ZZZZZ", "UTC", march, "+0000 +0000 +0000 GMT Z"},
    {"Z ZZZZ ZZZZZ", "America/New_York", march, "-0500 GMT-05:00 -05:00"},
    {"Z ZZZZ ZZZZZ", "Asia/Kathmandu", march, "+0545 GMT+05:45 +05:45"},
    {"yyyy-MM-dd HH:mm", "America/New_York", march, "2019-03-05 08:07"},
    {"'at' H 'o''clock'", "UTC", march, "at 13 o'clock"},
    {"h 'o''clock' ''a''", "UTC", march, "1 o'clock 'PM'"},
    {"''''", "UTC", march, "''"},
    {"''", "UTC", march, "'"},
    {"'yyyy'yyyy", "UTC", march, "yyyy2019"},
    {"", "UTC", march, ""},
    {"yyyy\xE5\xB9\xB4", "UTC", march, "2019\xE5\xB9\xB4"},
};

TEST(DateFormatter, PrintsEveryLetterAndWidth) {
  for (const PrintCase& at : printCases) {
    EXPECT_EQ(DateFormatter(at.pattern, zone(at.zone)).stringFromTimestamp(at.instant), at.text)
        << at.pattern;
  }
  EXPECT_EQ(DateFormatter("y", TimeZone::utc()).stringFromTimestamp(std::nullopt), std::nullopt);
}

struct ReadCase {
  const char* pattern;
  const char* text;
  const char* instant;  // in UTC
};

constexpr ReadCase readCases[] = {
    {"y-M-d", "2019-3-5", "2019-03-05 00:00:00"},
    {"y-M-d", "2019-03-05", "2019-03-05 00:00:00"},
    {"y-M-d", "2019-003-5", "none"},
    {"y-M-d", "19-3-5", "0019-03-05 00:00:00"},
    {"y-M-d", "0-3-5", "none"},
    {"y-M-d", "99999999-3-5", "none"},
    {"yyyyMMdd", "20190305", "2019-03-05 00:00:00"},
    {"yyyyMMdd", "2019035", "none"},
    {"yyyyMMdd", "201903055", "none"},
    {"yyyy-MM-dd", "12019-03-05", "none"},
    {"d MMM yyyy", "5 mar 2019", "2019-03-05 00:00:00"},
    {"d MMM yyyy", "5 March 2019", "none"},
    {"d MMMM yyyy", "5 March 2019", "2019-03-05 00:00:00"},
    {"d MMMM yyyy", "5 Mar 2019", "none"},
    {"EEEE d MMMM yyyy", "Tuesday 5 March 2019", "2019-03-05 00:00:00"},
    {"EEEE d MMMM yyyy", "Tue 5 March 2019", "none"},
    {"E, d MMM yyyy", "TUE, 5 Mar 2019", "2019-03-05 00:00:00"},
    {"E, d MMM yyyy", "Die, 5 Mar 2019", "none"},
    {"HH:mm", "13:07", "2000-01-01 13:07:00"},
    {"HH:mm", "3:07", "none"},
    {"H:m", "3:7", "2000-01-01 03:07:00"},
    {"H:m", "24:00", "none"},
    {"h a", "12 AM", "2000-01-01 00:00:00"},
    {"h a", "12 PM", "2000-01-01"},
    {"h a", "1 pm", "2000-01-01 13:00:00"},
    {"h a", "13 PM", "none"},
    {"h a", "1 XM", "none"},
    {"H a", "13 AM", "2000-01-01 13:00:00"},
    {"h", "12", "2000-01-01 00:00:00"},
    {"yyyy", "2019", "2019-01-01 00:00:00"},
    {"MM/dd", "02/29", "2000-02-29 00:00:00"},
    {"ss.SSS", "09.250", "2000-01-01 00:00:09.25"},
    {"ss.S", "09.5", "2000-01-01 00:00:09.5"},
    {"ss.SSS", "09.25", "none"},
    {"ss.SSS", "09.2500", "none"},
    {"HH Z", "13 -0500", "2000-01-01 18:00:00"},
    {"HH Z", "13 GMT", "2000-01-01 13:00:00"},
    {"HH ZZZZ", "13 GMT", "2000-01-01 13:00:00"},
    {"HH ZZZZ", "13 GMT-05:00", "2000-01-01 18:00:00"},
    {"HH ZZZZ", "13 -05:00", "none"},
    {"HH ZZZZZ", "13 Z", "2000-01-01 13:00:00"},
    {"HH ZZZZZ", "13 +05:45", "2000-01-01 07:15:00"},
    {"HH ZZZZZ", "13 +0545", "none"},
    {"'at' H", "at 3", "2000-01-01 03:00:00"},
    {"'at' H", "AT 3", "none"},
    {"'at' H", " at 3", "none"},
    {"'at' H", "at  3", "none"},
    {"'at' H", "at +3", "none"},
    {"'at' H", "at -3", "none"},
    {"'at' H", "at 3 ", "none"},
    {"yyyy-MM-dd", "2019-02-29", "none"},
    {"yyyy-MM-dd", "1582-10-10", "none"},
    {"yyyy-MM-dd", "2019-04-31", "none"},
    {"", "", "2000-01-01 00:00:00"},
    {"", " ", "none"},
};

TEST(DateFormatter, ReadsExactlyThePatternsForm) {
  for (const ReadCase& at : readCases) {
    EXPECT_EQ(text(DateFormatter(at.pattern, TimeZone::utc()).timestampFromString(at.text)),
              at.instant)
        << at.pattern << ": " << at.text;
  }
}

TEST(DateFormatter, ReadsTwoDigitYearsAsYearsNearTheCurrentOne) {
  const DateFormatter two("yy", TimeZone::utc());
  const DateFormatter full("yyyy", TimeZone::utc());
  const int now = std::stoi(full.stringFromTimestamp(Timestamp::now()).value());
  for (int year = now - 80; year < now + 20; ++year) {
    const std::string shortened = two.stringFromTimestamp(utc(year, 6, 1)).value();
    EXPECT_EQ(full.stringFromTimestamp(two.timestampFromString(shortened)), std::to_string(year));
  }
}

TEST(DateFormatter, RefusesPatternsThatItDoesNotKnow) {
  for (const char* pattern : {"Q", "yyyy-MM-ddTHH", "MMMMM", "ddd", "'open", "yyyy'", "ZZZZZZ",
                              "EEEEE", "k", "aaaa", "SSSSSSSSSS", "yyyyyyyyyy", "'''"}) {
    EXPECT_THROW(DateFormatter formatter(pattern), std::invalid_argument) << pattern;
  }
}

TEST(DateFormatter, WithoutAZoneFollowsTheLocalOne) {
  const DateFormatter formatter("yyyy-MM-dd HH:mm");
  for (const char* name : {"Asia/Tokyo", "America/New_York"}) {
    const LocalZoneIs local(name);
    EXPECT_EQ(formatter.timeZone(), zone(name));
    EXPECT_EQ(formatter.stringFromTimestamp(formatter.timestampFromString("2019-03-15 13:30")),
              "2019-03-15 13:30");
  }
  const LocalZoneIs tokyo("Asia/Tokyo");
  EXPECT_EQ(text(formatter.timestampFromString("2019-03-15 13:30")), "2019-03-15 04:30:00");
}

// A form that is read by position, the same form in other words, and texts around it.
struct FastForm {
  const char* fast;
  const char* general;
  const char* example;
};

constexpr FastForm fastForms[] = {
    {"yyyy-MM-dd'T'HH:mm:ss'Z'", "yyyy'-'MM-dd'T'HH:mm:ss'Z'", "2019-03-15T13:30:00Z"},
    {"yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "yyyy'-'MM-dd'T'HH:mm:ss.SSS'Z'", "2019-03-15T13:30:00.250Z"},
    {"EEE, dd MMM yyyy HH':'mm':'ss Z", "EEE', 'dd MMM yyyy HH:mm:ss Z",
     "Fri, 15 Mar 2019 13:30:00 +0000"},
};

std::vector<std::string> textsAround(const std::string& example) {
  const std::string characters = "0123456789:/-+ .,TZzaMrGMT\xFF@`'" + std::string(1, '\0');
  std::vector<std::string> texts = {example, example + "0", example + " ", " " + example, "GMT"};
  for (std::size_t at = 0; at < example.size(); ++at) {
    texts.push_back(example.substr(0, at));
    texts.push_back(std::string(example).erase(at, 1));
    for (const char character : characters) {
      std::string changed = example;
      changed[at] = character;
      texts.push_back(changed);
      texts.push_back(std::string(example).insert(at, 1, character));
    }
  }
  return texts;
}

TEST(FastForms, ReadWhatTheGeneralWayReadsAndNothingElse) {
  for (const FastForm& form : fastForms) {
    const DateFormatter fast(form.fast, zone("America/New_York"));
    const DateFormatter general(form.general, zone("America/New_York"));
    ASSERT_TRUE(fast.timestampFromString(form.example)) << form.fast;
    for (const std::string& around : textsAround(form.example)) {
      EXPECT_EQ(text(fast.timestampFromString(around)), text(general.timestampFromString(around)))
          << around;
    }
  }
}

TEST(FastForms, PrintWhatTheGeneralWayPrintsAndReadItBack) {
  std::mt19937_64 random(20190315);
  std::uniform_real_distribution<double> seconds(-6.3e10, 2.4e11);
  for (const FastForm& form : fastForms) {
    const DateFormatter fast(form.fast, TimeZone::utc());
    const DateFormatter general(form.general, TimeZone::utc());
    for (int round = 0; round < 20'000; ++round) {
      const Timestamp instant(seconds(random));
      const std::string printed = fast.stringFromTimestamp(instant).value();
      ASSERT_EQ(printed, general.stringFromTimestamp(instant));
      ASSERT_EQ(fast.timestampFromString(printed), general.timestampFromString(printed));
      ASSERT_EQ(fast.stringFromTimestamp(fast.timestampFromString(printed)), printed);
    }
  }
}

}  // namespace
}  // namespace ztp::test
