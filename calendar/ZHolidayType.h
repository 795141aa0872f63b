// ZHolidayType: the business calendars that the holiday rules know.
#pragma once

#include <cstdint>

namespace ztp {

/// Which calendar a holiday is asked of. Any other value is no calendar and has no holidays.
enum class ZHolidayType : std::int64_t {
  ZHolidayTypeUSBank = 1,  ///< United States bank holidays
  ZHolidayTypeNYSE = 2,    ///< closing days of the New York Stock Exchange
  ZHolidayTypeTSE = 3,     ///< closing days of the Toronto Stock Exchange
};

}  // namespace ztp
