// ZHolidayType: the business calendars that the holiday rules know, and their official holidays.
//
//   day                                bank  NYSE  TSE
//   1 January                            x     x     x
//   third Monday of January              x     x
//   third Monday of February             x     x     x
//   Good Friday                                x     x
//   Monday of 18 to 24 May                           x
//   last Monday of May                   x     x
//   19 June, from 2022                   x     x
//   1 July                                           x
//   4 July                               x     x
//   first Monday of August                           x
//   first Monday of September            x     x     x
//   second Monday of October             x           x
//   11 November                          x
//   fourth Thursday of November          x     x
//   25 December                          x     x     x
//   26 December                                      x
//
// How one on a weekend is observed stands at ZDateUtilities::isDateHoliday.
#pragma once

#include <cstdint>

namespace ztp {

/// Which calendar a holiday is asked of. Any other value is not a calendar and has no holidays.
enum class ZHolidayType : std::int64_t {
  ZHolidayTypeUSBank = 1,  ///< United States bank holidays
  ZHolidayTypeNYSE = 2,    ///< closing days of the New York Stock Exchange
  ZHolidayTypeTSE = 3,     ///< closing days of the Toronto (not Tokyo) Stock Exchange
};

}  // namespace ztp
