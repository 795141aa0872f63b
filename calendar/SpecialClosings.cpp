// SpecialClosings: the table. Where each day comes from:
//   kingDayLaw       Public Law 98-144 (1983): the holiday begins in 1986; the Banks keep federal
//   ones kingDayExchange  the exchange kept the day from 1998 on exchangeList     the exchange's
//   own list of special closings since 1885 familyDayLaw     Ontario's Family Day, proclaimed in
//   October 2007, begins in 2008
// The others name an announcement of the exchange.
#include "calendar/SpecialClosings.h"

namespace ztp {

namespace {

constexpr std::string_view kingDay = "Martin Luther King Jr. Day";
constexpr std::string_view familyDay = "Family Day";
constexpr std::string_view attack = "Attack on the World Trade Center";
constexpr std::string_view storm = "Hurricane Sandy";

constexpr std::string_view kingDayLaw = "Public Law 98-144: from 1986";
constexpr std::string_view kingDayExchange = "NYSE: a holiday of the exchange from 1998";
constexpr std::string_view exchangeList = "NYSE: list of special closings since 1885";
constexpr std::string_view familyDayLaw = "Ontario: proclamation of October 2007, from 2008";

constexpr SpecialDay usBankDays[] = {
    {{1980, 1, 21}, false, kingDay, kingDayLaw}, {{1981, 1, 19}, false, kingDay, kingDayLaw},
    {{1982, 1, 18}, false, kingDay, kingDayLaw}, {{1983, 1, 17}, false, kingDay, kingDayLaw},
    {{1984, 1, 16}, false, kingDay, kingDayLaw}, {{1985, 1, 21}, false, kingDay, kingDayLaw},
};

constexpr SpecialDay newYorkDays[] = {
    {{1980, 1, 21}, false, kingDay, kingDayExchange},
    {{1980, 11, 4}, true, "Presidential Election Day", exchangeList},
    {{1981, 1, 19}, false, kingDay, kingDayExchange},
    {{1982, 1, 18}, false, kingDay, kingDayExchange},
    {{1983, 1, 17}, false, kingDay, kingDayExchange},
    {{1984, 1, 16}, false, kingDay, kingDayExchange},
    {{1985, 1, 21}, false, kingDay, kingDayExchange},
    {{1985, 9, 27}, true, "Hurricane Gloria", exchangeList},
    {{1986, 1, 20}, false, kingDay, kingDayExchange},
    {{1987, 1, 19}, false, kingDay, kingDayExchange},
    {{1988, 1, 18}, false, kingDay, kingDayExchange},
    {{1989, 1, 16}, false, kingDay, kingDayExchange},
    {{1990, 1, 15}, false, kingDay, kingDayExchange},
    {{1991, 1, 21}, false, kingDay, kingDayExchange},
    {{1992, 1, 20}, false, kingDay, kingDayExchange},
    {{1993, 1, 18}, false, kingDay, kingDayExchange},
    {{1994, 1, 17}, false, kingDay, kingDayExchange},
    {{1994, 4, 27}, true, "Mourning for Richard Nixon", exchangeList},
    {{1995, 1, 16}, false, kingDay, kingDayExchange},
    {{1996, 1, 15}, false, kingDay, kingDayExchange},
    {{1997, 1, 20}, false, kingDay, kingDayExchange},
    {{2001, 9, 11}, true, attack, exchangeList},
    {{2001, 9, 12}, true, attack, exchangeList},
    {{2001, 9, 13}, true, attack, exchangeList},
    {{2001, 9, 14}, true, attack, exchangeList},
    {{2004, 6, 11}, true, "Mourning for Ronald Reagan", exchangeList},
    {{2007, 1, 2}, true, "Mourning for Gerald Ford", "NYSE Group: announcement of December 2006"},
    {{2012, 10, 29}, true, storm, "NYSE Euronext: announcement of 28 October 2012"},
    {{2012, 10, 30}, true, storm, "NYSE Euronext: announcement of 29 October 2012"},
    {{2018, 12, 5},
     true,
     "Mourning for George H. W. Bush",
     "NYSE: announcement of 1 December 2018"},
    {{2025, 1, 9}, true, "Mourning for Jimmy Carter", "NYSE: announcement of 30 December 2024"},
};

constexpr SpecialDay torontoDays[] = {
    {{1980, 2, 18}, false, familyDay, familyDayLaw},
    {{1981, 2, 16}, false, familyDay, familyDayLaw},
    {{1982, 2, 15}, false, familyDay, familyDayLaw},
    {{1983, 2, 21}, false, familyDay, familyDayLaw},
    {{1984, 2, 20}, false, familyDay, familyDayLaw},
    {{1985, 2, 18}, false, familyDay, familyDayLaw},
    {{1986, 2, 17}, false, familyDay, familyDayLaw},
    {{1987, 2, 16}, false, familyDay, familyDayLaw},
    {{1988, 2, 15}, false, familyDay, familyDayLaw},
    {{1989, 2, 20}, false, familyDay, familyDayLaw},
    {{1990, 2, 19}, false, familyDay, familyDayLaw},
    {{1991, 2, 18}, false, familyDay, familyDayLaw},
    {{1992, 2, 17}, false, familyDay, familyDayLaw},
    {{1993, 2, 15}, false, familyDay, familyDayLaw},
    {{1994, 2, 21}, false, familyDay, familyDayLaw},
    {{1995, 2, 20}, false, familyDay, familyDayLaw},
    {{1996, 2, 19}, false, familyDay, familyDayLaw},
    {{1997, 2, 17}, false, familyDay, familyDayLaw},
    {{1998, 2, 16}, false, familyDay, familyDayLaw},
    {{1999, 2, 15}, false, familyDay, familyDayLaw},
    {{2000, 2, 21}, false, familyDay, familyDayLaw},
    {{2001, 2, 19}, false, familyDay, familyDayLaw},
    {{2001, 9, 12}, true, attack, "Toronto Stock Exchange: trading resumed on 13 September 2001"},
    {{2002, 2, 18}, false, familyDay, familyDayLaw},
    {{2003, 2, 17}, false, familyDay, familyDayLaw},
    {{2004, 2, 16}, false, familyDay, familyDayLaw},
    {{2005, 2, 21}, false, familyDay, familyDayLaw},
    {{2006, 2, 20}, false, familyDay, familyDayLaw},
    {{2007, 2, 19}, false, familyDay, familyDayLaw},
};

}  // namespace

std::span<const SpecialDay> specialDays(ZHolidayType type) {
  switch (type) {
    case ZHolidayType::ZHolidayTypeUSBank:
      return usBankDays;
    case ZHolidayType::ZHolidayTypeNYSE:
      return newYorkDays;
    case ZHolidayType::ZHolidayTypeTSE:
      return torontoDays;
  }
  return {};
}

}  // namespace ztp
